#pragma once

// One attribute of a content definition: its type, constraints and how it is
// shown. Values are checked and converted here before an entity stores them.

#include <functional>
#include <memory>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqkudm {

class VQKUDMRT_API UDMAttributeDefinition {
 public:
  enum DataType { TypeString, TypeLong, TypeDouble, TypeBoolean, TypeStringList, TypeDate, TypeColor,
                  TypeReference };

  struct Fields {
    vqString name;
    vqString displayName;
    vqString description;
    vqString category;
    DataType type = TypeString;
    bool unique = false;
    vqString defaultValue;
    bool defaultSet = false;
    vqString regex;
    vqStlVector<vqString> validValues;
    bool mandatory = false;
    bool editable = true;
    bool displayable = true;
    bool system = false;
  };

  explicit UDMAttributeDefinition(const Fields& fields);
  ~UDMAttributeDefinition();

  // Parses a type name as written in definition files, ignoring case:
  // String, Long/int, Double/float, Boolean/bool, StringList, Date, Color,
  // reference, and unique (a String whose values must differ). False for
  // anything else.
  static bool ParseTypeName(const vqString& text, DataType& type, bool& unique);
  // The canonical name of a type ("String", "Long", ...).
  static vqString TypeName(DataType type);

  vqString GetName() const { return m_fields.name; }
  vqString GetDisplayName() const { return m_fields.displayName; }
  vqString GetDescription() const { return m_fields.description; }
  vqString GetCategory() const { return m_fields.category; }
  vqString GetDataType() const { return TypeName(m_fields.type); }
  DataType GetType() const { return m_fields.type; }
  vqString GetDefaultValue() const { return m_fields.defaultValue; }
  const vqString& GetRegEx() const { return m_fields.regex; }
  // True when the attribute has a fixed list of valid values.
  bool GetStaticValidValues(vqStlVector<vqString>& out) const;
  bool IsDefaultValueSet() const { return m_fields.defaultSet; }
  bool IsDisplayable() const { return m_fields.displayable; }
  bool IsEditable() const { return m_fields.editable; }
  bool IsMandatory() const { return m_fields.mandatory; }
  bool IsSystem() const { return m_fields.system; }
  bool IsUnique() const { return m_fields.unique; }
  const Fields& GetFields() const { return m_fields; }

  vqString ToString(const vqString& indent) const;

  // The value converted to the attribute's type, when the conversion is
  // exact; an empty value stays empty. Raises UDMException (invalid
  // argument, ExcSubWrongType) naming the entity (`describeEntity` is called
  // only then), the attribute, the value and the reason otherwise.
  vqVariant CheckValue(const vqVariant& value, const std::function<vqString()>& describeEntity) const;

 private:
  struct Pattern;
  Fields m_fields;
  std::shared_ptr<const Pattern> m_pattern;  // compiled regex; null without one
};

}  // namespace vqkudm
