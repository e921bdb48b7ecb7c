#include "crash_repository.h"

#include <vqkudm/UDMProfileMgr.h>

boost::shared_ptr<vqkudm::IUDMProfile> OpenCrashRepository(const CrashTarget& target, const std::string& workspace) {
  vqStlMap<vqString, vqVariant> configuration;
  if (target.kind == "postgres") {
    configuration["DataSource"] = vqVariant("PostGres");
    configuration["RepositoryName"] = vqVariant(target.location);
    configuration["dbconnectstring"] = vqVariant(target.server + " dbname=" + target.location);
    configuration["WorkspaceBaseDir"] = vqVariant(workspace);
  } else {
    configuration["RepositoryBaseDir"] = vqVariant(target.location);
    configuration["RepositoryName"] = vqVariant("crash");
    configuration["WorkspaceBaseDir"] = vqVariant(target.location);
  }
  configuration["WorkspaceName"] = vqVariant("ws");
  return vqkudm::UDMProfileMgr::GetProfile(configuration);
}

std::string BatchName(int op) { return "batch-" + std::to_string(op); }
std::string ChildName(int op, int index) { return "part-" + std::to_string(op) + "-" + std::to_string(index); }
