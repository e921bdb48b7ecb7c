#include "values.h"

#include <cstdio>

#include <vqkudmrt/UDMException.h>

#include "errors.h"

namespace vqkudm::python {

namespace {

py::module_ DateTimeModule() { return py::module_::import("datetime"); }

[[noreturn]] void WrongType(const std::string& what, py::handle value, const std::string& accepted) {
  RefuseArgument("values", what + ": a value of type " + py::str(py::type::of(value).attr("__name__")).cast<std::string>() +
                               " is not accepted; use " + accepted,
                 ExcSubWrongType);
}

std::string TwoDigits(int value) {
  char text[8];
  std::snprintf(text, sizeof text, "%02d", value);
  return text;
}

std::string DateText(py::handle date) {
  char text[16];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", date.attr("year").cast<int>(), date.attr("month").cast<int>(),
                date.attr("day").cast<int>());
  return text;
}

// ISO 8601 as the runtime stores dates: UTC with "Z" for an aware datetime,
// without a zone for a naive one; milliseconds when they are all there is.
std::string DateTimeText(py::handle value) {
  py::object moment = py::reinterpret_borrow<py::object>(value);
  const bool aware = !moment.attr("utcoffset")().is_none();
  if (aware) moment = moment.attr("astimezone")(DateTimeModule().attr("timezone").attr("utc"));
  std::string text = DateText(moment) + "T" + TwoDigits(moment.attr("hour").cast<int>()) + ":" +
                     TwoDigits(moment.attr("minute").cast<int>()) + ":" + TwoDigits(moment.attr("second").cast<int>());
  const int micro = moment.attr("microsecond").cast<int>();
  if (micro != 0) {
    char fraction[16];
    if (micro % 1000 == 0) {
      std::snprintf(fraction, sizeof fraction, ".%03d", micro / 1000);
    } else {
      std::snprintf(fraction, sizeof fraction, ".%06d", micro);
    }
    text += fraction;
  }
  return aware ? text + "Z" : text;
}

bool Digits(const std::string& text, std::size_t at, std::size_t count, int& out) {
  if (at + count > text.size()) return false;
  out = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    out = out * 10 + (text[i] - '0');
  }
  return true;
}

// The date or datetime of stored text ("YYYY-MM-DD" or
// "YYYY-MM-DDThh:mm:ss[.f...][Z]"); None for other text.
py::object ParseDate(const std::string& text) {
  int year, month, day;
  if (!Digits(text, 0, 4, year) || text.size() < 10 || text[4] != '-' || !Digits(text, 5, 2, month) ||
      text[7] != '-' || !Digits(text, 8, 2, day)) {
    return py::none();
  }
  py::module_ datetime = DateTimeModule();
  try {
    if (text.size() == 10) return datetime.attr("date")(year, month, day);
    int hour, minute, second;
    if (text[10] != 'T' || !Digits(text, 11, 2, hour) || text.size() < 19 || text[13] != ':' ||
        !Digits(text, 14, 2, minute) || text[16] != ':' || !Digits(text, 17, 2, second)) {
      return py::none();
    }
    std::size_t at = 19;
    int micro = 0, scale = 100000;
    if (at < text.size() && text[at] == '.') {
      for (++at; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at, scale /= 10) {
        micro += (text[at] - '0') * scale;  // digits beyond microseconds add 0
      }
    }
    const bool utc = at < text.size() && text[at] == 'Z';
    if (at + (utc ? 1 : 0) != text.size()) return py::none();
    py::object zone = utc ? py::object(datetime.attr("timezone").attr("utc")) : py::object(py::none());
    return datetime.attr("datetime")(year, month, day, hour, minute, second, micro, zone);
  } catch (const py::error_already_set&) {
    // A day the calendar lacks: the text is kept as it is.
    return py::none();
  }
}

}  // namespace

vqVariant ToVariant(py::handle value, const std::string& what) {
  static const char* const kAccepted = "str, int, float, bool, datetime, date, a list of str or None";
  if (value.is_none()) return vqVariant();
  if (py::isinstance<py::bool_>(value)) return vqVariant(value.cast<bool>());
  if (py::isinstance<py::int_>(value)) {
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
    if (overflow != 0) {
      RefuseArgument("values", what + ": " + py::str(value).cast<std::string>() + " does not fit in 64 bits",
                     ExcSubOutOfRange);
    }
    return vqVariant(static_cast<std::int64_t>(number));
  }
  if (py::isinstance<py::float_>(value)) return vqVariant(value.cast<double>());
  if (py::isinstance<py::str>(value)) return vqVariant(value.cast<std::string>());
  py::module_ datetime = DateTimeModule();
  if (py::isinstance(value, datetime.attr("datetime"))) return vqVariant(DateTimeText(value));
  if (py::isinstance(value, datetime.attr("date"))) return vqVariant(DateText(value));
  if (py::isinstance<py::list>(value) || py::isinstance<py::tuple>(value)) {
    vqStlVector<vqString> list;
    for (py::handle entry : value) {
      if (!py::isinstance<py::str>(entry)) WrongType(what + " (a list entry)", entry, "str");
      list.push_back(entry.cast<std::string>());
    }
    return vqVariant(list);
  }
  // Integers of other libraries (numpy's) say so through __index__.
  if (PyIndex_Check(value.ptr())) return ToVariant(py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr())), what);
  WrongType(what, value, kAccepted);
}

py::object ToPython(const vqVariant& value, const std::string& dataType) {
  switch (value.GetType()) {
    case vqVariant::Empty:
      return py::none();
    case vqVariant::Bool:
      return py::bool_(*value.GetBool());
    case vqVariant::Int:
      return py::int_(*value.GetInt());
    case vqVariant::Int64:
      return py::int_(static_cast<long long>(*value.GetInt64()));
    case vqVariant::Double:
      return py::float_(*value.GetDouble());
    case vqVariant::String: {
      const std::string& text = value.GetString()->str();
      if (dataType == "Date") {
        py::object date = ParseDate(text);
        if (!date.is_none()) return date;
      }
      return py::str(text);
    }
    case vqVariant::StringList: {
      py::list list;
      for (const vqString& entry : *value.GetStringList()) list.append(py::str(entry.str()));
      return list;
    }
  }
  return py::none();
}

std::string Text(py::handle value, const std::string& what) {
  if (!py::isinstance<py::str>(value)) WrongType(what, value, "str");
  return value.cast<std::string>();
}

std::string PathText(py::handle value, const std::string& what) {
  py::module_ os = py::module_::import("os");
  if (!py::isinstance<py::str>(value) && !py::isinstance<py::bytes>(value) &&
      !py::isinstance(value, os.attr("PathLike"))) {
    WrongType(what, value, "str or os.PathLike");
  }
  return os.attr("fsdecode")(os.attr("fspath")(value)).cast<std::string>();
}

std::string SettingText(py::handle value, const std::string& key) {
  const std::string what = "configuration key \"" + key + "\"";
  if (py::isinstance<py::bool_>(value)) return value.cast<bool>() ? "true" : "false";
  if (py::isinstance<py::int_>(value) || py::isinstance<py::float_>(value)) return py::str(value).cast<std::string>();
  if (py::isinstance<py::str>(value)) return value.cast<std::string>();
  if (py::isinstance(value, py::module_::import("os").attr("PathLike"))) return PathText(value, what);
  WrongType(what, value, "str, os.PathLike, int, float or bool");
}

}  // namespace vqkudm::python
