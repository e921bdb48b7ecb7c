#pragma once

// Attribute metadata as the profile reads and adds it.

#include <vqkudm/vqkudmApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class VQKUDM_API UDMCdefMetaData {
 public:
  UDMCdefMetaData() = default;
  // `type` is a type name: string, long, int, float, bool, stringlist, date,
  // color or unique, in any case.
  UDMCdefMetaData(const vqString& name, const vqString& displayName, const vqString& description,
                  const vqString& defaultValue, const vqString& type, const vqString& category, bool displayable,
                  bool mandatory, bool editable, const vqStlVector<vqString>& validValues);

  const vqString& Name() const { return m_name; }
  const vqString& DisplayName() const { return m_displayName; }
  const vqString& Description() const { return m_description; }
  const vqString& DefaultValue() const { return m_defaultValue; }
  const vqString& Type() const { return m_type; }
  const vqString& Category() const { return m_category; }
  bool Displayable() const { return m_displayable; }
  bool Mandatory() const { return m_mandatory; }
  bool Editable() const { return m_editable; }
  const vqStlVector<vqString>& ValidVal() const { return m_validValues; }

  void SetType(const vqString& type) { m_type = type; }
  void SetCategory(const vqString& category) { m_category = category; }
  void SetDisplayable(bool displayable) { m_displayable = displayable; }
  void SetMandatory(bool mandatory) { m_mandatory = mandatory; }
  void SetEditable(bool editable) { m_editable = editable; }
  void SetValidVal(vqStlVector<vqString> validValues) { m_validValues = std::move(validValues); }

 private:
  vqString m_name;
  vqString m_type;
  vqString m_displayName;
  vqString m_description;
  vqString m_defaultValue;
  vqString m_category;
  bool m_mandatory = false;
  bool m_displayable = true;
  bool m_editable = true;
  vqStlVector<vqString> m_validValues;
};

// An attribute whose value is its members' values joined by a delimiter.
class VQKUDM_API UDMCdefCompositeMetaData {
 public:
  UDMCdefCompositeMetaData(const vqString& name, const vqString& displayName, const vqString& type,
                           const vqStlVector<vqString>& memberNames, const vqString& delimiter)
      : m_name(name), m_displayName(displayName), m_type(type), m_members(memberNames), m_delimiter(delimiter) {}

  const vqString& Name() const { return m_name; }
  const vqString& DisplayName() const { return m_displayName; }
  const vqString& Type() const { return m_type; }
  vqStlVector<vqString> MetadataNameList() const { return m_members; }
  const vqString& Delimiter() const { return m_delimiter; }

 private:
  vqString m_name;
  vqString m_displayName;
  vqString m_type;
  vqStlVector<vqString> m_members;
  vqString m_delimiter;
};

// One problem found when checking data against a definition.
class VQKUDM_API UDMValidationErrorInfo {
 public:
  UDMValidationErrorInfo() = default;
  UDMValidationErrorInfo(const vqString& entity, const vqString& attribute, const vqString& message)
      : m_entity(entity), m_attribute(attribute), m_message(message) {}
  const vqString& GetEntity() const { return m_entity; }
  const vqString& GetAttribute() const { return m_attribute; }
  const vqString& GetMessage() const { return m_message; }

 private:
  vqString m_entity;
  vqString m_attribute;
  vqString m_message;
};

class VQKUDM_API UDMValidationErrorReport {
 public:
  void Add(const UDMValidationErrorInfo& error) { m_errors.push_back(error); }
  const vqStlVector<UDMValidationErrorInfo>& GetErrors() const { return m_errors; }
  bool IsEmpty() const { return m_errors.empty(); }

 private:
  vqStlVector<UDMValidationErrorInfo> m_errors;
};

}  // namespace vqkudm
