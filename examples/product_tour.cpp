// A tour of the runtime on the embedded default: a repository is created,
// a small product is built and stored, a second session reads it back,
// checks a part out and in with a drawing, queries the repository, and the
// product travels as a package into a second repository.
//
//   udm_example [repository-base-directory]

#include <vqkudm/vqkudm.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include <boost/make_shared.hpp>

using namespace vqkudm;

namespace {

boost::shared_ptr<IUDMSession> Open(const std::string& baseDir, const std::string& user,
                                    const std::string& repository = "demo") {
  auto config = boost::make_shared<UDMSessionConfig>();
  config->SetRepositoryBaseDir(baseDir);
  config->SetRepositoryName(repository);
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
  for (const char* old : {"demo", "demo-copy", "bike.zip", "drawing.pdf"}) {
    std::filesystem::remove_all(std::filesystem::path(base) / old);
  }
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

    // Bob revises the frame; alice cannot take it while he holds it.
    UDMItemPtr bobsFrame = bob->FindItemById(frame->GetUID(), true, "");
    bobsFrame->CheckOut("lighter tubes");
    try {
      frame->CheckOut("");
    } catch (const UDMException& e) {
      std::cout << "\nAlice cannot check out the frame:\n  " << e.what() << "\n";
    }
    bobsFrame->SetAttribute("mass", vqVariant(1.6));
    const std::filesystem::path drawing = std::filesystem::path(base) / "drawing.pdf";
    std::ofstream(drawing) << "%PDF frame drawing";
    bobsFrame->AddFile(drawing.string(), true, false, "drawings");
    bobsFrame->Persist("lighter tubes, with drawing", GDM_RECURSE_NONE, -1, false, true);
    std::cout << "\nThe frame's revisions:\n";
    for (const UDMItemPtr& revision : bobsFrame->GetAllRevisions()) {
      std::cout << "  " << revision->GetUID().ToString() << "  mass=" << revision->GetAttributeValue("mass").ToString()
                << "  comment=" << revision->GetAttributeValue(kSmdComment).ToString() << "\n";
    }

    vqStlVector<UDMItemPtr> found;
    bob->ExecuteQuery(bob->CreateQuery("cdef = 'UDMPart' and (mass < 1.7 or partnumber like 'FK-*')", false, 0), 1,
                      false, found);
    std::cout << "\nParts lighter than 1.7 or numbered FK-*:";
    for (const UDMItemPtr& part : found) std::cout << " '" << part->GetName() << "'";
    std::cout << "\n";

    auto exporter = boost::dynamic_pointer_cast<UDMSession>(bob)->GetExportCtrl();
    exporter->Export({bob->FindItemById(bike->GetUID(), true, "")}, {}, "bike.zip",
                     exporter->CreateExportOptions(ExportZip, base, ""));
    auto carol = boost::dynamic_pointer_cast<UDMSession>(Open(base, "carol", "demo-copy"));
    vqStlVector<UDMItemPtr> imported, unchanged;
    carol->GetImportCtrl()->Import(imported, unchanged, base + "/bike.zip", false, true);
    carol->GetImportCtrl()->TmpDataCleanup();
    std::cout << "\nExported the bike to " << base << "/bike.zip and imported " << imported.size()
              << " entities into the repository demo-copy.\n";
  } catch (const UDMException& e) {
    std::cerr << "failed: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
