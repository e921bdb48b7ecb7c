#include "ItemParts.h"

#include "ItemNames.h"
#include "Output.h"

namespace udm {

nlohmann::json UsesJson(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item) {
  vqStlVector<vqkudm::UDMUseInfo> uses;
  Core(item)->GetUses(uses, "");
  nlohmann::json out = nlohmann::json::array();
  for (const vqkudm::UDMUseInfo& use : uses) out.push_back(UseJson(profile, use));
  return out;
}

nlohmann::json FilesJson(vqkudm::IUDMProfile& profile, vqkudm::UDMItemHandle& item) {
  vqStlVector<vqkudm::UDMGenericDocument> files;
  profile.GetFileInfoList(item, files, true);
  nlohmann::json out = nlohmann::json::array();
  for (const vqkudm::UDMGenericDocument& file : files) {
    out.push_back({{"name", file.GetName().str()},
                   {"size", file.GetSize()},
                   {"contentKey", file.GetContentKey().str()},
                   {"external", file.IsExternal()}});
  }
  return out;
}

nlohmann::json RelationsJson(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item) {
  vqStlVector<vqkudm::UDMRelationHandle> relations;
  profile.GetRelations(relations, item, vqkudm::RelationBoth);
  nlohmann::json out = nlohmann::json::array();
  for (const vqkudm::UDMRelationHandle& relation : relations) {
    out.push_back({{"id", relation.GetUID().str()},
                   {"type", relation.GetCdef().str()},
                   {"left", ItemJson(relation.GetLeftEntity())},
                   {"right", ItemJson(relation.GetRightEntity())}});
  }
  return out;
}

nlohmann::json ClassificationsJson(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& item) {
  vqStlVector<boost::shared_ptr<vqkudm::IUDMEntityHandle>> categories;
  Core(item)->GetClassifications(categories, false);
  nlohmann::json out = nlohmann::json::array();
  for (const auto& category : categories) out.push_back(ItemJson(profile.GetUDMItemHandle(category->GetUID(true))));
  return out;
}

}  // namespace udm
