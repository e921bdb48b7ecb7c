#include "profile_workload.h"

#include <unistd.h>

#include <vqnames/UDMNames.h>
#include <vqkudm/UDMProfileMgr.h>

using namespace vqkudm;
namespace fs = std::filesystem;

fs::path FreshProfileDirectory(const std::string& name) {
  const fs::path dir = fs::temp_directory_path() / ("udm-profile-bench-" + name + "-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

boost::shared_ptr<IUDMProfile> OpenBenchProfile(const fs::path& dir) {
  vqStlMap<vqString, vqVariant> configuration;
  configuration["RepositoryBaseDir"] = dir.string();
  configuration["RepositoryName"] = "bench";
  configuration["WorkspaceBaseDir"] = dir.string();
  configuration["WorkspaceName"] = "ws";
  return UDMProfileMgr::GetProfile(configuration);
}

void CreateAndPersistThroughProfile(IUDMProfile& profile, int count) {
  UDMItemHandle project = profile.CreateEntity(kClassProject, "bench");
  for (int i = 0; i < count; ++i) {
    UDMItemHandle part = profile.CreateAndAdd(kClassPart, "part-" + std::to_string(i), project, "parts");
    profile.SetAttribute(part, "material", vqVariant("steel"));
    profile.SetAttribute(part, "mass", vqVariant(1.5 + i));
    profile.SetAttribute(part, "partnumber", vqVariant("PN-" + std::to_string(i)));
    profile.SetAttribute(part, "status", vqVariant("released"));
    profile.SetAttribute(part, "description", vqVariant("benchmark part"));
  }
  profile.Persist(project, "bench", false, true, false);
}
