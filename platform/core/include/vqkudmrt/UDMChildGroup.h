#pragma once

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class UDMConfiguration;
class UDMContentDefinition;

// A named group of children of a content definition and what it admits.
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
  const Fields& GetFields() const { return m_fields; }

 private:
  Fields m_fields;
  boost::weak_ptr<UDMConfiguration> m_configuration;
};

}  // namespace vqkudm
