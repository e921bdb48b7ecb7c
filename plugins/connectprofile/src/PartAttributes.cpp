#include "PartAttributes.h"

#include <algorithm>
#include <cctype>

#include <vqkudmrt/UDMException.h>
#include <vqutl/vqVariant.h>

namespace vqkudm::connect {

namespace {

const char* const kSignature =
    "PackageValue vqkudm::connect::PartAttributes::Convert(const std::string &,const std::string &,const "
    "std::string &) const";
const char* const kCategory = "PLM XML";

std::string Sanitized(const std::string& title) {
  std::string name;
  for (unsigned char c : title) name += std::isalnum(c) || c == '_' ? static_cast<char>(c) : '_';
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0]))) name = "_" + name;
  return name;
}

PackageValue Text(const std::string& value) { return {5, value, std::nullopt}; }

}  // namespace

PartAttributes::PartAttributes(const vqStlVector<UDMCdefMetaData>& declared) : m_declared(declared) {}

const UDMCdefMetaData* PartAttributes::Find(const std::string& name) const {
  for (const vqStlVector<UDMCdefMetaData>* list : {&m_declared, &m_added}) {
    for (const UDMCdefMetaData& attribute : *list) {
      if (attribute.Name().EqualsNoCase(name)) return &attribute;
    }
  }
  return nullptr;
}

std::string PartAttributes::NameFor(const std::string& title) {
  const std::string name = Sanitized(title);
  if (const UDMCdefMetaData* found = Find(name)) return found->Name().str();
  m_added.push_back(UDMCdefMetaData(name, title, "From PLM XML documents", "", "string", kCategory, true, false, true,
                                    {}));
  return name;
}

PackageValue PartAttributes::Convert(const std::string& name, const std::string& value,
                                     const std::string& where) const {
  const UDMCdefMetaData* attribute = Find(name);
  if (!attribute || value.empty()) return value.empty() ? PackageValue() : Text(value);
  auto refuse = [&](const std::string& reason) -> PackageValue {
    ThrowInvalidArgException(kSignature,
                             where + ": the value \"" + value + "\" of attribute \"" + name + "\" " + reason,
                             ExcSubWrongType);
  };
  const vqStlVector<vqString>& valid = attribute->ValidVal();
  if (!valid.empty() && std::find(valid.begin(), valid.end(), vqString(value)) == valid.end()) {
    return refuse("is not one of " + vqString::Join(valid, ", ").str());
  }
  const vqVariant given{vqString(value)};
  const vqString type = attribute->Type();
  if (type.EqualsNoCase("long") || type.EqualsNoCase("int")) {
    std::int64_t number;
    if (!given.ToInt64(number)) return refuse("is not a whole number");
    return {3, vqVariant(number).ToString().str(), static_cast<double>(number)};
  }
  if (type.EqualsNoCase("double") || type.EqualsNoCase("float")) {
    double number;
    if (!given.ToDouble(number)) return refuse("is not a number");
    return {4, vqVariant(number).ToString().str(), number};
  }
  if (type.EqualsNoCase("boolean") || type.EqualsNoCase("bool")) {
    bool flag;
    if (!given.ToBool(flag)) return refuse("is not true or false");
    return {1, vqVariant(flag).ToString().str(), flag ? 1.0 : 0.0};
  }
  if (type.EqualsNoCase("string")) return Text(value);
  return refuse("cannot be loaded into a " + type.str() + " attribute");
}

}  // namespace vqkudm::connect
