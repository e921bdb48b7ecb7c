// udm defs and udm defs add-attr: the repository's content definitions.

#include <iostream>

#include "Failure.h"
#include "Output.h"
#include "Repository.h"
#include "Tool.h"

namespace udm {

namespace {

struct DefinitionArguments {
  std::string cls;
  std::string name;
  std::string type;
};

vqkudm::UDMContentDefinitionHandle Definition(vqkudm::UDMProfileUtils& utils, const std::string& cls) {
  vqkudm::UDMContentDefinitionHandle definition = utils.GetContentDefinitionHandle(cls);
  if (definition.IsEmpty()) Refuse("defs", "no definition \"" + cls + "\"", vqkudm::ExcSubNotFound);
  return definition;
}

nlohmann::json DefinitionJson(vqkudm::IUDMProfile& profile, const std::string& cls) {
  vqkudm::UDMProfileUtils utils = profile.GetProfileUtils();
  vqString base;
  Definition(utils, cls).GetDerivedFrom(base);
  vqStlVector<vqkudm::UDMCdefMetaData> metadata;
  profile.GetMetaData(cls, metadata);
  nlohmann::json attributes = nlohmann::json::array();
  for (const vqkudm::UDMCdefMetaData& attribute : metadata) {
    attributes.push_back({{"name", attribute.Name().str()},
                          {"type", attribute.Type().str()},
                          {"default", attribute.DefaultValue().str()},
                          {"mandatory", attribute.Mandatory()}});
  }
  vqStlVector<vqString> groupNames;
  utils.GetGroupNames(cls, groupNames, "");
  nlohmann::json groups = nlohmann::json::array();
  for (const vqString& group : groupNames) {
    vqStlVector<vqString> allowed;
    utils.GetAllowedChildCdefNames(cls, allowed, group);
    nlohmann::json admits = nlohmann::json::array();
    for (const vqString& type : allowed) admits.push_back(type.str());
    groups.push_back({{"name", group.str()}, {"admits", admits}});
  }
  return {{"name", cls}, {"derivedFrom", base.str()}, {"attributes", attributes}, {"groups", groups}};
}

void PrintDefinition(std::ostream& out, const nlohmann::json& definition) {
  out << definition["name"].get<std::string>();
  if (!definition["derivedFrom"].get<std::string>().empty()) out << " : " << definition["derivedFrom"].get<std::string>();
  out << "\n";
  for (const nlohmann::json& a : definition["attributes"]) {
    out << "  " << a["name"].get<std::string>() << "  " << a["type"].get<std::string>()
        << (a["mandatory"].get<bool>() ? "  mandatory" : "") << "\n";
  }
  for (const nlohmann::json& g : definition["groups"]) {
    out << "  group " << g["name"].get<std::string>() << (g["admits"].empty() ? "  (any)" : "  admits");
    for (const nlohmann::json& type : g["admits"]) out << " " << type.get<std::string>();
    out << "\n";
  }
}

void List(const Options& options, const DefinitionArguments& arguments) {
  OpenRepository repository(options);
  if (!arguments.cls.empty()) {
    const nlohmann::json definition = DefinitionJson(repository.profile(), arguments.cls);
    Output(options.json).Print(definition, [&](std::ostream& out) { PrintDefinition(out, definition); });
    return;
  }
  nlohmann::json definitions = nlohmann::json::array();
  for (const vqString& name : repository.profile().GetProfileUtils().GetRegisteredContentDefinitionNames()) {
    definitions.push_back(DefinitionJson(repository.profile(), name));
  }
  Output(options.json).Print({{"definitions", definitions}}, [&](std::ostream& out) {
    for (const nlohmann::json& definition : definitions) PrintDefinition(out, definition);
  });
}

void AddAttribute(const Options& options, const DefinitionArguments& arguments) {
  OpenRepository repository(options);
  vqkudm::IUDMProfile& profile = repository.profile();
  vqkudm::UDMProfileUtils utils = profile.GetProfileUtils();
  Definition(utils, arguments.cls);
  vqStlVector<vqkudm::UDMCdefMetaData> metadata = {vqkudm::UDMCdefMetaData(
      arguments.name, arguments.name, "", "", arguments.type, "", true, false, true, {})};
  profile.ModifyUpdateContentDefinition(arguments.cls, metadata, nullptr);
  // The profile drops from the list what the definition has already.
  if (metadata.empty()) {
    Refuse("defs add-attr", arguments.cls + " has an attribute \"" + arguments.name + "\" already",
           vqkudm::ExcSubConflict);
  }
  const nlohmann::json definition = DefinitionJson(profile, arguments.cls);
  Output(options.json).Print(definition, [&](std::ostream& out) {
    out << "Added " << arguments.name << " (" << arguments.type << ") to " << arguments.cls << "\n";
  });
}

}  // namespace

void AddDefinitionCommands(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<DefinitionArguments>();
  const Options& options = tool.options;
  CLI::App* defs = tool.Add(app, "defs",
                            "Lists the content definitions, or one, with their attributes and child groups.\n"
                            "Example: udm defs UDMPart",
                            [&options, arguments] { List(options, *arguments); });
  defs->add_option("CLASS", arguments->cls, "one definition");
  CLI::App* addAttribute =
      tool.Add(*defs, "add-attr",
               "Adds an attribute to a definition. TYPE: string, long, int, float, bool, stringlist, date, color "
               "or unique.\nExample: udm defs add-attr UDMPart supplier string",
               [&options, arguments] { AddAttribute(options, *arguments); });
  addAttribute->add_option("CLASS", arguments->cls, "the definition")->required();
  addAttribute->add_option("NAME", arguments->name, "the attribute's name")->required();
  addAttribute->add_option("TYPE", arguments->type, "the attribute's type")->required();
}

}  // namespace udm
