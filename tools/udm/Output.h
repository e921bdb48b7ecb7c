#pragma once

// One result per command: a JSON document under --json, text otherwise.

#include <functional>
#include <iosfwd>
#include <string>

#include <nlohmann/json.hpp>

#include <vqkudm/IUDMProfile.h>
#include <vqkudm/UDMCoreEntityHandle.h>

namespace udm {

class Output {
 public:
  explicit Output(bool json) : m_json(json) {}
  bool json() const { return m_json; }
  // Prints `document`, with "version", under --json; else what `human` writes.
  void Print(nlohmann::json document, const std::function<void(std::ostream&)>& human) const;

 private:
  bool m_json;
};

// The fields every command shows of an item: "id", "name", "class", "revision".
nlohmann::json ItemJson(const vqkudm::UDMItemHandle& item);
// A use of a child: the child's fields with "group", "use" and "attributes".
nlohmann::json UseJson(vqkudm::IUDMProfile& profile, const vqkudm::UDMUseInfo& use);
// A value as JSON: numbers and booleans as such, lists as arrays, text as text.
nlohmann::json ValueJson(const vqVariant& value);
// A size for people: "512 B", "1.5 KiB", "3.2 MiB".
std::string HumanBytes(double bytes);

}  // namespace udm
