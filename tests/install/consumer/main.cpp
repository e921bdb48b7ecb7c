// An application built against an installed runtime: it must find its
// directories and its profile plug-in relative to the installed libraries,
// with no variable set.
#include <vqkudm/vqkudm.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>

int main() {
  const vqkudm::UDMInstallLayout& layout = vqkudm::UDMFramework::GetInstance()->GetInstallLayout();
  std::cout << "home=" << std::filesystem::canonical(layout.homeDir.str()).string() << "\n";
  if (vqkudm::kClassPart != "UDMPart") return 2;
  const auto base = std::filesystem::temp_directory_path() / ("vqkudm-consumer-" + std::to_string(::getpid()));
  ::setenv("NORVEL_VQK_UDMRT_DB_DIR", base.c_str(), 1);
  int status = 0;
  try {
    vqStlMap<vqString, vqVariant> configuration;
    configuration["RepositoryBaseDir"] = base.string();
    configuration["RepositoryName"] = "repo";
    configuration["WorkspaceBaseDir"] = base.string();
    configuration["WorkspaceName"] = "ws";
    boost::shared_ptr<vqkudm::IUDMProfile> profile = vqkudm::UDMProfileMgr::GetProfile(configuration);
    vqkudm::UDMItemHandle part = profile->CreateEntity(vqkudm::kClassPart, "bolt");
    profile->Persist(part, "first", false, false, false);
    std::cout << "stored " << part.GetDisplayName() << " revision " << part.GetRevision() << "\n";
    vqkudm::UDMProfileMgr::DiscardProfile(profile);

    // The connect profile is found in the installed plug-in directory too.
    const auto document = base / "bolt.plmxml";
    std::ofstream(document) << "<PLMXML><Product id=\"p1\" productId=\"B-1\" name=\"bolt\"/>"
                               "<ProductRevision id=\"r1\" masterRef=\"#p1\" revision=\"A\"/></PLMXML>";
    boost::shared_ptr<vqkudm::IUDMProfile> connection = vqkudm::UDMProfileMgr::GetProfile(
        {{"DataSource", vqVariant("UDMXML")}, {"FileDataSource", vqVariant(document.string())},
         {"ConnectionIdentifier", vqVariant("bolt")}});
    vqStlVector<vqkudm::UDMItemHandle> found;
    connection->QueryEntities(found, "plmxmlexternalid = 'B-1'", vqkudm::UDMQuerySettingHandle(), false, false);
    std::cout << "connected parts " << found.size() << "\n";
    if (found.size() != 1) status = 4;
    vqkudm::UDMProfileMgr::DiscardProfile(connection);
  } catch (const vqkudm::UDMException& e) {
    std::cout << e.what() << "\n";
    status = 3;
  }
  std::filesystem::remove_all(base);
  return status;
}
