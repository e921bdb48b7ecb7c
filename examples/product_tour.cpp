// A tour of the runtime through its profile, on the embedded default: a
// repository is created on first use, a small product is built with files,
// a preview, a relation and a classification, a wheel used four times and a
// bolt used by several assemblies, parts are checked out and in,
// a branch is started, and the history, the structure and the files are
// printed. A query finds the parts, and the product travels as a package
// into a second repository. A subscriber prints the changes as they happen.
//
//   udm_example [base-directory]

#include <vqkudm/vqkudm.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include <boost/make_shared.hpp>

using namespace vqkudm;

namespace {

boost::shared_ptr<IUDMProfile> OpenRepository(const std::string& base, const std::string& name) {
  vqStlMap<vqString, vqVariant> configuration;
  configuration["RepositoryBaseDir"] = base;
  configuration["RepositoryName"] = name;
  configuration["WorkspaceBaseDir"] = base;
  configuration["WorkspaceName"] = "workspace-" + name;
  return UDMProfileMgr::GetProfile(configuration);
}

// Prints each change made through the profile.
class ChangePrinter : public IUDMProfileSlot {
 public:
  void update(UDMProfileUpdate change) override {
    if (!m_enabled) return;
    std::cout << "    ~ " << SignalOptionName(change.GetOpCode()) << " " << change.GetUDMHandle().GetDisplayName();
    if (!change.GetAttributeName().empty()) {
      std::cout << " " << change.GetAttributeName() << "=" << change.GetAttributeValue().ToString();
    }
    std::cout << "\n";
  }
  bool m_enabled = true;
};

std::string WriteFile(const std::filesystem::path& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
  return path.string();
}

void PrintStructure(IUDMProfile& profile, const UDMItemHandle& item, const std::string& indent) {
  std::cout << indent << item.GetCdef() << " '" << item.GetDisplayName() << "' rev " << item.GetRevision();
  for (const vqString& name : item.GetFilteredAttributeNameList(false)) {
    std::cout << "  " << name << "=" << item.GetAttributeValue(name).ToString();
  }
  std::cout << "\n";
  vqStlVector<UDMGenericDocument> files;
  profile.GetFileInfoList(item, files, true);
  for (const UDMGenericDocument& file : files) {
    std::cout << indent << "    file " << file.GetName() << " (" << file.GetSize() << " bytes)\n";
  }
  vqStlVector<UDMItemHandle> children;
  profile.GetChildren(children, item, "", "");
  for (const UDMItemHandle& child : children) PrintStructure(profile, child, indent + "  ");
}

boost::shared_ptr<UDMCoreEntityHandle> Core(const UDMItemHandle& handle) {
  return boost::dynamic_pointer_cast<UDMCoreEntityHandle>(handle.GetEntityHandlePtr());
}

void PrintWhereUsed(const UDMItemHandle& item) {
  vqStlVector<UDMWhereUsedInfo> users;
  Core(item)->GetWhereUsed(users, 0);
  for (const UDMWhereUsedInfo& user : users) {
    std::cout << "  level " << user.level << ": '" << user.parent->GetAttributeValue(kSmdName).ToString() << "' uses "
              << user.uses << " of the level below\n";
  }
}

void PrintHistory(const boost::shared_ptr<UDMHistoryNode>& node, const std::string& indent) {
  std::cout << indent << "'" << node->GetDisplayName() << "' revision " << node->GetVersion();
  if (!node->GetVersionList().empty()) {
    std::cout << "  (other revisions:";
    for (const auto& revision : node->GetVersionList()) std::cout << " " << revision->GetVersion();
    std::cout << ")";
  }
  std::cout << "\n";
  for (const auto& revision : node->GetVersionList()) {
    for (const auto& branch : revision->GetBranchList()) {
      std::cout << indent << "  branch from revision " << revision->GetVersion() << ":\n";
      PrintHistory(branch, indent + "    ");
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::filesystem::path base =
      argc > 1 ? std::filesystem::path(argv[1]) : std::filesystem::temp_directory_path() / "vqkudm-demo";
  std::filesystem::remove_all(base);
  std::filesystem::create_directories(base);
  std::cout << "Repository: " << (base / "rover").string() << "\n\n";

  try {
    boost::shared_ptr<IUDMProfile> profile = OpenRepository(base.string(), "rover");
    auto printer = boost::make_shared<ChangePrinter>();
    boost::shared_ptr<IUDMProfileSlot> subscriber = printer;
    profile->SubscribeToEntityUpdates(subscriber);

    std::cout << "Building the product:\n";
    UDMItemHandle project = profile->CreateEntity(kClassProject, "rover");
    UDMItemHandle chassis = profile->CreateAndAdd(kClassPart, "chassis", project, "parts");
    UDMItemHandle wheel = profile->CreateEntity(kClassPart, "wheel");
    profile->SetAttribute(wheel, "description", vqVariant("rubber, 200 mm"));
    // One wheel, used at four places of the chassis; one standard bolt, used
    // by the wheel and twice by the chassis.
    for (const char* place : {"front left", "front right", "rear left", "rear right"}) {
      Core(chassis)->AddUse(Core(wheel), "parts", {{"refdes", vqVariant(place)}});
    }
    UDMItemHandle bolt = profile->CreateEntity(kClassPart, "bolt M8");
    Core(wheel)->AddUse(Core(bolt), "parts", {{"quantity", vqVariant(5.0)}});
    profile->AddChild(chassis, bolt, "parts");
    profile->AddChild(chassis, bolt, "parts");
    // Made before the first check-in, stored with it.
    UDMItemHandle driveTrain = profile->CreateEntity(kFolderKindCategories, "drive train");
    profile->AddClassification(wheel, driveTrain);
    profile->CreateRelation(wheel, chassis, "UDMRelGeneral", false);
    profile->AddFile(chassis, WriteFile(base / "chassis.step", "ISO-10303-21; chassis"));
    profile->AddPreviewImage(chassis, WriteFile(base / "chassis.png", "\x89PNG\r\n\x1a\n"), "front",
                             vqlm::ImagePng, "front view", true, false);
    profile->Persist(project, "first release", false, true, false);
    profile->Persist(driveTrain, "category", false, false, false);
    printer->m_enabled = false;

    std::cout << "\nWhere the bolt is used:\n";
    PrintWhereUsed(bolt);

    std::cout << "\nTwo more revisions of the chassis, then a branch from its first revision:\n";
    const vqString firstChassis = chassis.GetUID();
    for (const char* change : {"lighter", "stiffer"}) {
      profile->Checkout(chassis, change);
      profile->SetAttribute(chassis, "description", vqVariant(change));
      profile->Persist(chassis, change, false, false, false);
      std::cout << "  checked in revision " << chassis.GetRevision() << " (" << change << ")\n";
    }
    UDMItemHandle variant = profile->GetUDMItemHandle(firstChassis);
    profile->Checkout(variant, "long wheelbase");
    profile->SetAttribute(variant, "description", vqVariant("long wheelbase"));
    profile->Persist(variant, "long wheelbase", false, false, false);

    std::cout << "\nHistory of the chassis:\n";
    PrintHistory(profile->GetHistory(chassis), "  ");
    std::cout << "\nStructure and files:\n";
    PrintStructure(*profile, project, "  ");

    std::cout << "\nParts described as stiffer or made of rubber:\n";
    vqStlVector<UDMItemHandle> found;
    profile->QueryEntities(found, "cdef = 'UDMPart' and (description = 'stiffer' or description like 'rubber*')",
                           UDMQuerySettingHandle(), false, false);
    for (const UDMItemHandle& part : found) std::cout << "  " << part.GetDisplayName() << "\n";

    const std::string package = (base / "rover.zip").string();
    profile->Export(package, {kClassItem}, ExportZip);
    boost::shared_ptr<IUDMProfile> copy = OpenRepository(base.string(), "rover-copy");
    copy->Import(package);
    vqStlVector<UDMItemHandle> imported;
    copy->QueryEntities(imported, "cdef isa 'UDMItem'", UDMQuerySettingHandle(), false, false);
    std::cout << "\nExported to " << package << " and imported " << imported.size()
              << " items into a second repository.\n";
    UDMProfileMgr::DiscardProfile(copy);
    UDMProfileMgr::DiscardProfile(profile);
  } catch (const UDMException& e) {
    std::cerr << "failed: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
