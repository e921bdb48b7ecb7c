#include "SystemAttributes.h"

#include <vqnames/UDMNames.h>

namespace vqkudm::schema {

namespace {

boost::shared_ptr<UDMAttributeDefinition> System(const vqString& name, const char* displayName,
                                                 UDMAttributeDefinition::DataType type, bool editable) {
  UDMAttributeDefinition::Fields fields;
  fields.name = name;
  fields.displayName = displayName;
  fields.category = "System";
  fields.type = type;
  fields.system = true;
  fields.editable = editable;
  fields.mandatory = name == kSmdName;
  return boost::shared_ptr<UDMAttributeDefinition>(new UDMAttributeDefinition(fields));
}

}  // namespace

const vqStlVector<boost::shared_ptr<UDMAttributeDefinition>>& SystemAttributes() {
  using T = UDMAttributeDefinition;
  static const vqStlVector<boost::shared_ptr<UDMAttributeDefinition>> attributes = {
      System(kSmdName, "Name", T::TypeString, true),
      System(kSmdCreateduser, "Created by", T::TypeString, false),
      System(kSmdCreatime, "Created", T::TypeDate, false),
      System(kSmdUser, "Modified by", T::TypeString, false),
      System(kSmdLstmodtime, "Modified", T::TypeDate, false),
      System(kSmdComment, "Check-in comment", T::TypeString, false),
      System(kSmdDeleted, "Deleted", T::TypeBoolean, false),
      System(kSmdBranchfrom, "Branched from", T::TypeReference, false),
      System(kSmdBranchfromver, "Branched from revision", T::TypeLong, false),
      System(kSmdBranchedtime, "Branched", T::TypeDate, false),
  };
  return attributes;
}

}  // namespace vqkudm::schema
