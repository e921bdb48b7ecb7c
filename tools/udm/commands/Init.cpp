// udm init: a repository for a directory, or the registration of a server one.

#include <filesystem>
#include <iostream>
#include <sstream>

#include <vqkudm/UDMProfileMgr.h>

#include "Failure.h"
#include "Output.h"
#include "Repository.h"
#include "Tool.h"

namespace fs = std::filesystem;

namespace udm {

namespace {

struct InitArguments {
  std::string dir = ".";
  std::string name;
  std::string postgres;
};

// A libpq value without its single quotes and backslash escapes.
std::string Unquote(const std::string& value) {
  if (value.size() < 2 || value.front() != '\'' || value.back() != '\'') return value;
  std::string out;
  for (std::size_t i = 1; i + 1 < value.size(); ++i) {
    if (value[i] == '\\' && i + 2 < value.size()) ++i;
    out += value[i];
  }
  return out;
}

// The client settings of a libpq connection string of key=value words.
ConfigMap PostgresConfiguration(const std::string& connection, std::string& database) {
  const std::pair<const char*, const char*> keys[] = {
      {"host", "dbhost"}, {"port", "dbport"}, {"user", "dbusername"}, {"password", "dbpasswd"}};
  ConfigMap configuration = {{"DataSource", vqVariant("PostGres")}};
  std::istringstream words(connection);
  std::string word;
  while (words >> word) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos) throw UsageError("--postgres: \"" + word + "\" is not key=value");
    const std::string key = word.substr(0, equals), value = Unquote(word.substr(equals + 1));
    if (key == "dbname") database = value;
    for (const auto& [keyword, setting] : keys) {
      if (key == keyword) configuration[setting] = vqVariant(value);
    }
  }
  if (database.empty()) throw UsageError("--postgres needs a dbname");
  configuration["RepositoryName"] = vqVariant(database);
  return configuration;
}

// Opening makes the repository (or its schema) and registers it.
void Create(const ConfigMap& configuration) {
  boost::shared_ptr<vqkudm::IUDMProfile> profile = vqkudm::UDMProfileMgr::GetProfile(configuration);
  vqkudm::UDMProfileMgr::DiscardProfile(profile);
}

void InitPostgres(const InitArguments& arguments, ConfigMap& configuration, std::string& name) {
  std::string database;
  configuration = PostgresConfiguration(arguments.postgres, database);
  // The registry names a server repository by its database.
  if (!arguments.name.empty() && arguments.name != database) {
    throw UsageError("--name of a PostgreSQL repository is its dbname (\"" + database + "\")");
  }
  ConfigMap workspace = configuration;
  workspace["WorkspaceBaseDir"] = vqVariant((RegistryDirectory() / "workspaces").string());
  workspace["WorkspaceName"] = vqVariant(database);
  Create(workspace);
  name = database;
}

void InitLocal(const InitArguments& arguments, ConfigMap& configuration, std::string& name) {
  const fs::path dir = fs::weakly_canonical(fs::absolute(arguments.dir));
  name = arguments.name.empty() ? dir.filename().string() : arguments.name;
  configuration = LocalConfiguration(UdmDirectory(dir), name);
  if (fs::exists(UdmDirectory(dir))) {
    Refuse("init", dir.string() + " has a repository already (" + UdmDirectory(dir).string() + ")",
           vqkudm::ExcSubConflict);
  }
  Create(configuration);
}

}  // namespace

void AddInitCommand(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<InitArguments>();
  CLI::App* init = tool.Add(app, "init",
                            "Creates a repository for DIR in DIR/.udm, or registers a PostgreSQL one.\n"
                            "Example: udm init ~/bike --name bike\n"
                            "         udm init --postgres \"host=db port=5432 user=me dbname=bike\"",
                            [&tool, arguments] {
                              ConfigMap configuration;
                              std::string name;
                              if (arguments->postgres.empty()) {
                                InitLocal(*arguments, configuration, name);
                              } else {
                                InitPostgres(*arguments, configuration, name);
                              }
                              const std::string where = arguments->postgres.empty()
                                                            ? configuration["RepositoryBaseDir"].ToString().str()
                                                            : configuration["dbhost"].ToString().str();
                              Output(tool.options.json)
                                  .Print({{"repository", {{"name", name}, {"type", configuration["DataSource"].ToString().str()},
                                                          {"location", where}}}},
                                         [&](std::ostream& out) { out << "Initialized repository " << name << " in " << where << "\n"; });
                            });
  init->add_option("DIR", arguments->dir, "the directory (default: the working directory)");
  init->add_option("--name", arguments->name, "the repository's name (default: DIR's name, or the dbname)");
  init->add_option("--postgres", arguments->postgres, "a libpq connection string with dbname");
}

}  // namespace udm
