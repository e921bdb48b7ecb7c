#pragma once

// Which attribute of the working repository's parts keeps each value of a
// PLM XML document, and in what form. Titles the definition lacks become
// text attributes added to it before the document is loaded.

#include <optional>
#include <string>

#include <vqkudm/UDMCdefMetaData.h>
#include <vqutl/vqStl.h>

namespace vqkudm::connect {

// A value as an exchange package holds it: the variant type (0 empty,
// 1 bool, 3 whole number, 4 real, 5 text), its text and its number.
struct PackageValue {
  int type = 0;
  std::optional<std::string> text;
  std::optional<double> number;
};

class PartAttributes {
 public:
  explicit PartAttributes(const vqStlVector<UDMCdefMetaData>& declared);

  // The attribute for `title`: a declared one of that name in any letter
  // case, else a new text attribute named after the title (characters other
  // than letters, digits and '_' become '_').
  std::string NameFor(const std::string& title);
  // `value` in the form of the attribute `name`. Raises UDMException naming
  // `where`, the attribute and the value when it does not fit the declared
  // type or valid values.
  PackageValue Convert(const std::string& name, const std::string& value, const std::string& where) const;
  // The attributes NameFor added, to declare before loading.
  const vqStlVector<UDMCdefMetaData>& Added() const { return m_added; }

 private:
  const UDMCdefMetaData* Find(const std::string& name) const;

  vqStlVector<UDMCdefMetaData> m_declared;
  vqStlVector<UDMCdefMetaData> m_added;
};

}  // namespace vqkudm::connect
