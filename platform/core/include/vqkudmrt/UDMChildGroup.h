#pragma once

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class UDMAttributeDefinition;
class UDMConfiguration;
class UDMContentDefinition;

// A named group of children of a content definition and what it admits.
// Each child in a group is a use: a link of its own, with the use attributes
// the group declares (a quantity, a transform, a reference designator).
class VQKUDMRT_API UDMChildGroup {
 public:
  struct Fields {
    vqString name;
    vqStlVector<vqString> allowedTypes;  // empty: any type
    bool composition = false;
    bool association = false;
    bool reference = false;
    bool blocked = false;
    bool internal = false;
    bool nonDisplayable = false;
    bool allowDuplicateNames = true;
    // Whether one parent may use the same child more than once here.
    bool multipleUses = false;
    vqStlVector<boost::shared_ptr<UDMAttributeDefinition>> useAttributes;
  };

  UDMChildGroup() = default;
  UDMChildGroup(const UDMChildGroup&) = default;
  UDMChildGroup(const Fields& fields, const boost::weak_ptr<UDMConfiguration>& configuration)
      : m_fields(fields), m_configuration(configuration) {}

  vqString GetName() const { return m_fields.name; }
  // The definitions the group admits, as the configuration resolves them.
  void GetAllowedContents(vqStlVector<boost::shared_ptr<UDMContentDefinition>>& out) const;
  const vqStlVector<vqString>& GetAllowedTypes() const { return m_fields.allowedTypes; }
  // A type is admitted when it is listed or derives from a listed type; a
  // group that lists nothing admits anything.
  bool Admits(const vqString& childType, const UDMConfiguration& configuration) const;

  bool IsComposition() const { return m_fields.composition; }
  bool IsAssociation() const { return m_fields.association; }
  bool IsReference() const { return m_fields.reference; }
  bool IsBlocked() const { return m_fields.blocked; }
  bool IsInternalGroup() const { return m_fields.internal; }
  bool IsNonDisplayable() const { return m_fields.nonDisplayable; }
  bool IsAllowedDuplicateNames() const { return m_fields.allowDuplicateNames; }
  bool IsMultipleUses() const { return m_fields.multipleUses; }
  // The attributes each use of the group has, in declaration order.
  const vqStlVector<boost::shared_ptr<UDMAttributeDefinition>>& GetUseAttributeDefinitions() const {
    return m_fields.useAttributes;
  }
  // The use attribute of that name, or null.
  boost::shared_ptr<UDMAttributeDefinition> GetUseAttributeDefinition(const vqString& name) const;
  const Fields& GetFields() const { return m_fields; }

 private:
  Fields m_fields;
  boost::weak_ptr<UDMConfiguration> m_configuration;
};

}  // namespace vqkudm
