#pragma once

// Fluent builders: collect the arguments of one change, carry it out with go().

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudm/UDMHandle.h>

namespace vqkudm {

class UDMCoreProfile;

// Sets one attribute of one entity. Only the text value is written: a value
// given as a variant is kept but not applied, so pass text to set a value.
class VQKUDM_API SetAttributeBuilder : public boost::enable_shared_from_this<SetAttributeBuilder> {
 public:
  // A builder bound to `profile`.
  static boost::shared_ptr<SetAttributeBuilder> Create(boost::shared_ptr<UDMCoreProfile>& profile);

  SetAttributeBuilder(const SetAttributeBuilder&) = default;
  SetAttributeBuilder(SetAttributeBuilder&&) = default;
  SetAttributeBuilder& operator=(const SetAttributeBuilder&) = default;
  SetAttributeBuilder& operator=(SetAttributeBuilder&&) = default;
  ~SetAttributeBuilder();

  // The setters chain; on a builder no shared pointer owns they raise
  // boost::bad_weak_ptr.
  boost::shared_ptr<SetAttributeBuilder> setEntity(UDMItemHandle& entity);
  boost::shared_ptr<SetAttributeBuilder> setAttributeName(const vqString& name);
  boost::shared_ptr<SetAttributeBuilder> setAttributeValue(const vqString& value);
  boost::shared_ptr<SetAttributeBuilder> setAttributeValue(const vqVariant& value);
  void go();

 private:
  explicit SetAttributeBuilder(boost::shared_ptr<UDMCoreProfile>& profile);

  UDMItemHandle m_entity;
  vqString m_name;
  vqString m_textValue;
  vqVariant m_variantValue;
  boost::shared_ptr<UDMCoreProfile> m_profile;
};

// Adds one file to one entity; obtained from IUDMProfile::AddFile(entity).
// A kept file is added at the top folder, or, when the entity already has a
// file of that name, replaces its content. An external file is recorded
// with the size and time given.
class VQKUDM_API AddFileBuilder {
 public:
  AddFileBuilder() = default;
  AddFileBuilder(const UDMItemHandle& entity, const boost::shared_ptr<IUDMProfile>& profile);

  AddFileBuilder& setFilePath(const vqString& path);
  AddFileBuilder& setExtFileLastModTime(const vqString& time);
  AddFileBuilder& setAbsWsFolderPath(const vqString& folder);
  AddFileBuilder& setIsExternal(bool external);
  AddFileBuilder& setExtFileSize(long size);
  void go();

  const vqString& GetAbsWsFolderPath() const { return m_absWsFolderPath; }

 private:
  UDMItemHandle m_entity;
  boost::weak_ptr<IUDMProfile> m_profile;
  vqString m_filePath;
  vqString m_extFileLastModTime;
  vqString m_absWsFolderPath;
  bool m_isExternal = false;
  long m_extFileSize = 0;
};

}  // namespace vqkudm
