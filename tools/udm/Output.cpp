#include "Output.h"

#include <cstdio>
#include <iostream>

namespace udm {

void Output::Print(nlohmann::json document, const std::function<void(std::ostream&)>& human) const {
  if (!m_json) {
    human(std::cout);
    return;
  }
  document["version"] = 1;
  std::cout << document.dump(2) << "\n";
}

nlohmann::json ItemJson(const vqkudm::UDMItemHandle& item) {
  return {{"id", item.GetUID().str()},
          {"name", item.GetDisplayName().str()},
          {"class", item.GetCdef().str()},
          {"revision", item.GetRevision()}};
}

nlohmann::json UseJson(vqkudm::IUDMProfile& profile, const vqkudm::UDMUseInfo& use) {
  nlohmann::json entry = ItemJson(profile.GetUDMItemHandle(use.child->GetUID(true)));
  entry["group"] = use.group.str();
  entry["use"] = use.useId.str();
  nlohmann::json attributes = nlohmann::json::object();
  for (const auto& [name, value] : use.attributes) attributes[name.str()] = ValueJson(value);
  entry["attributes"] = attributes;
  return entry;
}

nlohmann::json ValueJson(const vqVariant& value) {
  switch (value.GetType()) {
    case vqVariant::Empty:
      return nullptr;
    case vqVariant::Bool:
    case vqVariant::Int:
    case vqVariant::Int64: {
      bool flag = false;
      std::int64_t number = 0;
      if (value.GetType() == vqVariant::Bool && value.ToBool(flag)) return flag;
      value.ToInt64(number);
      return number;
    }
    case vqVariant::Double: {
      double number = 0;
      value.ToDouble(number);
      return number;
    }
    case vqVariant::StringList: {
      nlohmann::json list = nlohmann::json::array();
      for (const vqString& entry : *value.GetStringList()) list.push_back(entry.str());
      return list;
    }
    default:
      return value.ToString().str();
  }
}

std::string HumanBytes(double bytes) {
  static const char* const units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  int unit = 0;
  while (bytes >= 1024 && unit < 4) {
    bytes /= 1024;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
  return text;
}

}  // namespace udm
