#include <vqkudmrt/UDMAttributeDefinition.h>

#include <algorithm>
#include <cctype>
#include <regex>

#include <vqkudmrt/UDMException.h>

namespace vqkudm {

struct UDMAttributeDefinition::Pattern {
  std::regex regex;
};

namespace {

struct TypeNameEntry {
  const char* text;
  UDMAttributeDefinition::DataType type;
  bool unique;
};

const TypeNameEntry kTypeNames[] = {
    {"String", UDMAttributeDefinition::TypeString, false},
    {"Long", UDMAttributeDefinition::TypeLong, false},
    {"int", UDMAttributeDefinition::TypeLong, false},
    {"Double", UDMAttributeDefinition::TypeDouble, false},
    {"float", UDMAttributeDefinition::TypeDouble, false},
    {"Boolean", UDMAttributeDefinition::TypeBoolean, false},
    {"bool", UDMAttributeDefinition::TypeBoolean, false},
    {"StringList", UDMAttributeDefinition::TypeStringList, false},
    {"Date", UDMAttributeDefinition::TypeDate, false},
    {"Color", UDMAttributeDefinition::TypeColor, false},
    {"reference", UDMAttributeDefinition::TypeReference, false},
    {"unique", UDMAttributeDefinition::TypeString, true},
};

// "YYYY-MM-DD", optionally followed by "Thh:mm:ss", fractions and "Z".
bool IsIsoDate(const vqString& text) {
  static const std::regex form(
      R"(\d{4}-(0[1-9]|1[0-2])-(0[1-9]|[12]\d|3[01])(T([01]\d|2[0-3]):[0-5]\d:[0-5]\d(\.\d{1,9})?Z?)?)");
  return std::regex_match(text.str(), form);
}

// libstdc++ compiles a regular expression recursively, a level per term and
// per group, so a long enough pattern overflows the stack: a definition file
// must not be able to crash the process that loads it. Patterns for values
// are short.
constexpr std::size_t kMaxPatternLength = 1000;

bool IsColor(const vqString& text) {
  return text.size() == 7 && text[0] == '#' &&
         std::all_of(text.begin() + 1, text.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); });
}

}  // namespace

UDMAttributeDefinition::UDMAttributeDefinition(const Fields& fields) : m_fields(fields) {
  if (!fields.regex.empty()) {
    if (fields.regex.size() > kMaxPatternLength) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               "attribute \"" + fields.name + "\" has a regular expression of " +
                                   vqString::FromInt(static_cast<int>(fields.regex.size())) + " characters; at most " +
                                   vqString::FromInt(static_cast<int>(kMaxPatternLength)) + " are allowed",
                               ExcSubSyntax);
    }
    auto pattern = std::make_shared<Pattern>();
    try {
      pattern->regex = std::regex(fields.regex.str(), std::regex::ECMAScript);
    } catch (const std::regex_error& e) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               "attribute \"" + fields.name + "\" has an invalid regular expression \"" +
                                   fields.regex + "\": " + e.what(),
                               ExcSubSyntax);
    }
    m_pattern = pattern;
  }
}

UDMAttributeDefinition::~UDMAttributeDefinition() = default;

bool UDMAttributeDefinition::ParseTypeName(const vqString& text, DataType& type, bool& unique) {
  for (const TypeNameEntry& entry : kTypeNames) {
    if (text.EqualsNoCase(entry.text)) {
      type = entry.type;
      unique = entry.unique;
      return true;
    }
  }
  return false;
}

vqString UDMAttributeDefinition::TypeName(DataType type) {
  for (const TypeNameEntry& entry : kTypeNames) {
    if (entry.type == type) return entry.text;  // the first entry of a type is its canonical name
  }
  return "String";
}

bool UDMAttributeDefinition::GetStaticValidValues(vqStlVector<vqString>& out) const {
  out.insert(out.end(), m_fields.validValues.begin(), m_fields.validValues.end());
  return !m_fields.validValues.empty();
}

vqString UDMAttributeDefinition::ToString(const vqString& indent) const {
  vqString text = indent + m_fields.name + " (" + GetDataType() + (m_fields.unique ? ", unique" : "") + ")";
  if (m_fields.mandatory) text += " mandatory";
  if (m_fields.system) text += " system";
  if (!m_fields.editable) text += " read-only";
  if (m_fields.defaultSet) text += "\n" + indent + "  default: " + m_fields.defaultValue;
  if (!m_fields.regex.empty()) text += "\n" + indent + "  pattern: " + m_fields.regex;
  if (!m_fields.validValues.empty()) {
    text += "\n" + indent + "  valid values: " + vqString::Join(m_fields.validValues, ", ");
  }
  return text;
}

vqVariant UDMAttributeDefinition::CheckValue(
    const vqVariant& value, const std::function<vqString()>& describeEntity) const {
  if (value.IsEmpty()) return value;
  auto refuse = [&](const vqString& reason) -> vqVariant {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "cannot set attribute \"" + m_fields.name + "\" of " +
                                 describeEntity() + " to \"" + value.ToString() + "\": " + reason,
                             ExcSubWrongType);
  };
  vqVariant converted;
  switch (m_fields.type) {
    case TypeLong: {
      std::int64_t number;
      if (!value.ToInt64(number)) return refuse("it is not a whole number");
      converted = vqVariant(number);
      break;
    }
    case TypeDouble: {
      double number;
      if (!value.ToDouble(number)) return refuse("it is not a number");
      converted = vqVariant(number);
      break;
    }
    case TypeBoolean: {
      bool flag;
      if (!value.ToBool(flag)) return refuse("it is not true or false");
      converted = vqVariant(flag);
      break;
    }
    case TypeStringList:
      if (const vqStlVector<vqString>* list = value.GetStringList()) {
        converted = *list;
      } else if (const vqString* text = value.GetString()) {
        converted = text->Split(';');
      } else {
        return refuse("it is not a list of texts");
      }
      break;
    default: {
      const vqString* text = value.GetString();
      if (!text) return refuse("it is not a text");
      if (m_fields.type == TypeDate && !IsIsoDate(*text)) {
        return refuse("it is not a date of the form YYYY-MM-DD or YYYY-MM-DDThh:mm:ssZ");
      }
      if (m_fields.type == TypeColor && !IsColor(*text)) return refuse("it is not a colour of the form #rrggbb");
      converted = *text;
      break;
    }
  }
  // The texts to check: the text, each text of a list, or a number's text.
  const vqString* single = converted.GetString();
  const vqStlVector<vqString>* list = converted.GetStringList();
  const vqString numberText = single || list ? vqString() : converted.ToString();
  const vqString* const first = single ? single : list ? list->data() : &numberText;
  const vqString* const last = first + (list ? list->size() : 1);
  // Every database must take the text as it is, and PostgreSQL takes
  // neither NUL bytes nor invalid UTF-8.
  for (const vqString* item = first; item != last; ++item) {
    const char* fault = item->find('\0') != vqString::npos ? "it holds a NUL byte"
                        : !item->IsValidUtf8()             ? "it is not valid UTF-8"
                                                           : nullptr;
    // Without the value itself: it would cut or spoil the message.
    if (fault) {
      ThrowInvalidArgException(
          UDM_FUNCSIG,
          "cannot set attribute \"" + m_fields.name + "\" of " + describeEntity() + ": " + fault,
          ExcSubWrongType);
    }
  }
  if (!m_fields.validValues.empty()) {
    for (const vqString* item = first; item != last; ++item) {
      if (std::find(m_fields.validValues.begin(), m_fields.validValues.end(), *item) ==
          m_fields.validValues.end()) {
        return refuse("\"" + *item + "\" is not one of " +
                      vqString::Join(m_fields.validValues, ", "));
      }
    }
  }
  if (m_pattern) {
    const vqString joined = list ? converted.ToString() : vqString();
    if (!std::regex_match((list ? joined : *first).str(), m_pattern->regex)) {
      return refuse("it does not match the pattern " + m_fields.regex);
    }
  }
  return converted;
}

}  // namespace vqkudm
