// A tour of the runtime on the embedded default: a repository is created,
// a small product is built and stored, and a second session reads it back.
//
//   udm_example [repository-base-directory]

#include <vqkudm/vqkudm.h>

#include <filesystem>
#include <iostream>

#include <boost/make_shared.hpp>

using namespace vqkudm;

namespace {

boost::shared_ptr<IUDMSession> Open(const std::string& baseDir, const std::string& user) {
  auto config = boost::make_shared<UDMSessionConfig>();
  config->SetRepositoryBaseDir(baseDir);
  config->SetRepositoryName("demo");
  config->SetWorkspaceBaseDir(baseDir);
  config->SetWorkspaceName("ws-" + user);
  config->SetUserName(user);
  return UDMFramework::GetInstance()->CreateSession(config);
}

void PrintTree(const UDMItemPtr& item, const std::string& indent) {
  std::cout << indent << item->GetContentDefinitionType() << " '" << item->GetName() << "'";
  vqStlVector<vqString> names;
  item->GetFilteredAttributeNameList(names, false);
  for (const vqString& name : names) std::cout << "  " << name << "=" << item->GetAttributeValue(name).ToString();
  std::cout << "\n";
  vqStlVector<UDMItemPtr> children;
  item->GetChildren(children, "");
  for (const UDMItemPtr& child : children) {
    std::cout << indent << "  [" << item->GetChildGroup(child) << "]\n";
    PrintTree(child, indent + "    ");
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string base =
      argc > 1 ? argv[1] : (std::filesystem::temp_directory_path() / "vqkudm-demo").string();
  std::filesystem::remove_all(std::filesystem::path(base) / "demo");
  std::cout << "Runtime home: " << UDMFramework::GetInstance()->GetInstallLayout().homeDir << "\n"
            << "Repository:   " << base << "/demo\n\n";

  try {
    boost::shared_ptr<IUDMSession> alice = Open(base, "alice");
    UDMItemPtr bike = alice->CreateEntity(kClassProject, "city bike", UDMUID());
    bike->SetAttribute("owner", vqVariant("alice"));
    UDMItemPtr frame = alice->CreateEntity(kClassPart, "frame", UDMUID());
    frame->SetAttribute("partnumber", vqVariant("FR-100"));
    frame->SetAttribute("material", vqVariant("aluminium"));
    frame->SetAttribute("mass", vqVariant("1.8"));
    UDMItemPtr fork = alice->CreateEntity(kClassPart, "fork", UDMUID());
    fork->SetAttribute("partnumber", vqVariant("FK-200"));
    UDMItemPtr sim = alice->CreateEntity(kClassSimulation, "frame stiffness", UDMUID());
    sim->SetAttribute("loadcases", vqVariant("braking;cornering"));
    bike->AddChild(frame, "parts");
    frame->AddChild(fork, "parts");
    bike->AddChild(sim, "simulations");

    std::cout << "Bad input is refused and changes nothing:\n";
    for (auto attempt : {+[](UDMItemPtr f) { f->SetAttribute("mass", vqVariant("heavy")); },
                         +[](UDMItemPtr f) { f->SetAttribute("partnumber", vqVariant("fr100")); }}) {
      try {
        attempt(frame);
      } catch (const UDMException& e) {
        std::cout << "  " << e.what() << "\n";
      }
    }
    try {
      fork->AddChild(frame, "parts");
    } catch (const UDMException& e) {
      std::cout << "  " << e.what() << "\n";
    }

    bike->Persist("first release", GDM_RECURSE_ALL, -1, false, true);
    std::cout << "\nStored " << bike->ToString("") << " with its structure in one transaction.\n\n";

    boost::shared_ptr<IUDMSession> bob = Open(base, "bob");
    UDMItemPtr seen = bob->FindItemById(fork->GetUID(), true, "");
    std::cout << "Bob's session finds the fork and where it is used:\n";
    vqStlVector<UDMItemPtr> parents;
    seen->GetParents(parents, 0);
    for (const UDMItemPtr& parent : parents) std::cout << "  used in " << parent->ToString("") << "\n";
    std::cout << "\nThe product as bob reads it:\n";
    PrintTree(seen->GetRootEntity(), "  ");

    bob->DeleteEntity(seen->GetUID());
    std::cout << "\nBob deleted the fork; deleted contents: " << bob->GetDeletedContentsSize();
    bob->UndeleteEntity(seen->GetUID());
    std::cout << ", after restoring it: " << bob->GetDeletedContentsSize() << "\n";
  } catch (const UDMException& e) {
    std::cerr << "failed: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
