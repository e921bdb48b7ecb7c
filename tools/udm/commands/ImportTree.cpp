// udm import-tree: a directory tree as folder items holding its files, stored
// in one check-in. A re-run finds the items by their path under the top item
// and stores only what changed; an interruption undoes what it started.

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <map>

#include "Editing.h"
#include "Failure.h"
#include "ItemNames.h"
#include "Output.h"
#include "Progress.h"
#include "Signals.h"
#include "Tool.h"
#include "TreeScan.h"

namespace fs = std::filesystem;

namespace udm {

namespace {

const char* const kCommand = "import-tree";
const char* const kFolderClass = "UDMLMFoldertype";
// Test hook: the tool raises SIGTERM on itself after storing this many files.
const char* const kSignalAfterFiles = "UDM_TEST_SIGTERM_AFTER_FILES";

struct ImportArguments {
  std::string dir;
  std::string under;
  std::string cls = kFolderClass;
  std::string message;
  bool dryRun = false;
};

// What one scanned folder changes in the repository.
struct FolderPlan {
  const ScannedFolder* scanned = nullptr;
  std::string path;
  vqkudm::UDMItemHandle item;  // empty until the folder has an item
  bool isNew = false;
  std::vector<const ScannedFile*> added;
  std::vector<const ScannedFile*> replaced;
  std::vector<std::string> removed;
  // Sub-folders gone from the tree: no longer used by this folder, though
  // its older revisions keep them.
  std::vector<vqkudm::UDMItemHandle> removedFolders;
  std::size_t unchangedFiles = 0;
  std::vector<FolderPlan> folders;
  // Its own files or sub-folders differ from the stored revision.
  bool changed = false;
  // It or a folder below changed.
  bool touched = false;
};

struct Totals {
  int created = 0, updated = 0, unchanged = 0;
  std::size_t added = 0, replaced = 0, removed = 0, unchangedFiles = 0, removedFolders = 0;
  std::uint64_t bytes = 0;
};

// The items used by `parent` in `group`, by name.
std::map<std::string, vqkudm::UDMItemHandle> Children(vqkudm::IUDMProfile& profile, const vqkudm::UDMItemHandle& parent,
                                                     const std::string& group) {
  std::map<std::string, vqkudm::UDMItemHandle> out;
  vqStlVector<vqkudm::UDMUseInfo> uses;
  Core(parent)->GetUses(uses, group);
  for (const vqkudm::UDMUseInfo& use : uses) {
    vqkudm::UDMItemHandle child = profile.GetUDMItemHandle(use.child->GetUID(true));
    out.emplace(child.GetDisplayName().str(), child);
  }
  return out;
}

class Import {
 public:
  Import(const Options& options, const ImportArguments& arguments)
      : m_options(options), m_arguments(arguments), m_repository(options), m_names(m_repository),
        m_profile(m_repository.profile()) {}

  void Run() {
    m_tree = ScanTree(m_arguments.dir, vqkudm::UDMProfileExtensions::ReservedNameCharacters().str());
    if (!m_arguments.under.empty()) m_under = m_names.Resolve(m_arguments.under);
    m_plan = Plan(m_tree.top, Top(), m_under.IsEmpty() ? "" : m_names.PathOf(m_under) + "/");
    Count(m_plan);
    if (!m_arguments.dryRun) {
      if (!m_tree.collisions.empty()) {
        Refuse(kCommand, "folders would share the name \"" + m_tree.collisions.front().name + "\": " +
                             Join(m_tree.collisions.front().paths) + " (see --dry-run)",
               vqkudm::ExcSubConflict);
      }
      if (m_plan.touched) Store();
    }
    Print();
  }

 private:
  std::string Group(const vqkudm::UDMItemHandle& parent) {
    return DefaultGroup(m_repository, parent, m_arguments.cls, kCommand);
  }

  vqkudm::UDMItemHandle Top() {
    std::map<std::string, vqkudm::UDMItemHandle> found;
    if (!m_under.IsEmpty()) {
      found = Children(m_profile, m_under, Group(m_under));
    } else {
      for (const vqkudm::UDMItemHandle& root : m_names.Roots()) {
        if (root.GetDisplayName() == m_tree.top.name) {
          if (found.count(m_tree.top.name)) {
            Refuse(kCommand, "several root items are named \"" + m_tree.top.name + "\"", vqkudm::ExcSubConflict);
          }
          found.emplace(m_tree.top.name, root);
        }
      }
    }
    auto top = found.find(m_tree.top.name);
    return top == found.end() ? vqkudm::UDMItemHandle() : top->second;
  }

  FolderPlan Plan(const ScannedFolder& scanned, const vqkudm::UDMItemHandle& item, const std::string& parentPath) {
    CheckInterrupted();
    FolderPlan plan;
    plan.scanned = &scanned;
    plan.path = parentPath + scanned.name;
    plan.item = item;
    plan.isNew = item.IsEmpty();
    std::map<std::string, vqkudm::UDMItemHandle> children;
    if (plan.isNew) {
      for (const ScannedFile& file : scanned.files) plan.added.push_back(&file);
    } else {
      CompareFiles(scanned, plan);
      children = Children(m_profile, item, Group(item));
    }
    for (const ScannedFolder& folder : scanned.folders) {
      auto child = children.find(folder.name);
      const bool stored = child != children.end();
      plan.folders.push_back(Plan(folder, stored ? child->second : vqkudm::UDMItemHandle(), plan.path + "/"));
      if (stored) children.erase(child);
    }
    for (const auto& [name, child] : children) plan.removedFolders.push_back(child);
    plan.changed = plan.isNew || !plan.added.empty() || !plan.replaced.empty() || !plan.removed.empty() ||
                   !plan.removedFolders.empty();
    plan.touched = plan.changed;
    for (const FolderPlan& folder : plan.folders) {
      plan.changed = plan.changed || folder.isNew;
      plan.touched = plan.touched || plan.changed || folder.touched;
    }
    return plan;
  }

  // Same size and the same content key as the stored file: unchanged.
  void CompareFiles(const ScannedFolder& scanned, FolderPlan& plan) {
    vqStlVector<vqkudm::UDMGenericDocument> documents;
    m_profile.GetFileInfoList(plan.item, documents, true);
    std::map<std::string, const vqkudm::UDMGenericDocument*> stored;
    for (const vqkudm::UDMGenericDocument& document : documents) {
      if (!document.IsPreviewImage()) stored.emplace(document.GetName().str(), &document);
    }
    for (const ScannedFile& file : scanned.files) {
      auto found = stored.find(file.name);
      if (found == stored.end()) {
        plan.added.push_back(&file);
      } else if (found->second->IsExternal() || static_cast<std::uint64_t>(found->second->GetSize()) != file.size ||
                 found->second->GetContentKey().str() != ContentKey(file.path)) {
        plan.replaced.push_back(&file);
      } else {
        ++plan.unchangedFiles;
      }
      if (found != stored.end()) stored.erase(found);
    }
    for (const auto& [name, document] : stored) plan.removed.push_back(name);
  }

  void Count(const FolderPlan& plan) {
    if (plan.isNew) {
      ++m_totals.created;
    } else if (plan.touched && Below(CheckinRoot(), plan)) {
      ++m_totals.updated;
    } else {
      ++m_totals.unchanged;
    }
    m_totals.added += plan.added.size();
    m_totals.replaced += plan.replaced.size();
    m_totals.removed += plan.removed.size();
    m_totals.removedFolders += plan.removedFolders.size();
    m_totals.unchangedFiles += plan.unchangedFiles;
    for (const ScannedFile* file : plan.added) m_totals.bytes += file->size;
    for (const ScannedFile* file : plan.replaced) m_totals.bytes += file->size;
    for (const FolderPlan& folder : plan.folders) Count(folder);
  }

  // The nearest folder above every change: one recursive check-in from it
  // reaches them all, and only the folders on the way get a revision.
  FolderPlan& CheckinRoot() {
    FolderPlan* root = &m_plan;
    while (!root->changed) {
      FolderPlan* only = nullptr;
      for (FolderPlan& folder : root->folders) {
        if (!folder.touched) continue;
        if (only) return *root;
        only = &folder;
      }
      if (!only) return *root;
      root = only;
    }
    return *root;
  }

  static bool Below(const FolderPlan& root, const FolderPlan& plan) {
    if (&root == &plan) return true;
    for (const FolderPlan& folder : root.folders) {
      if (folder.touched && Below(folder, plan)) return true;
    }
    return false;
  }

  void Store() {
    ProgressCounts total{static_cast<std::uint64_t>(m_totals.created + m_totals.updated),
                         m_totals.added + m_totals.replaced, m_totals.bytes};
    Progress progress(Progress::Wanted(m_options), total);
    const char* hook = std::getenv(kSignalAfterFiles);
    m_signalAfter = hook ? std::atol(hook) : -1;
    FolderPlan& root = CheckinRoot();
    vqkudm::UDMItemHandle checkinItem;
    try {
      if (root.isNew && !m_under.IsEmpty()) {
        CheckOut(m_under);
        checkinItem = m_under;
      }
      Apply(root, m_under, progress);
      if (checkinItem.IsEmpty()) checkinItem = root.item;
      CheckInterrupted();
      progress.Phase("checking in");
      const std::string message =
          m_arguments.message.empty() ? "udm import-tree " + m_tree.top.path.filename().string() : m_arguments.message;
      m_profile.Persist(checkinItem, message, false, true, false);
    } catch (...) {
      progress.Finish();
      Undo(root);
      throw;
    }
  }

  void CheckOut(vqkudm::UDMItemHandle& item) {
    if (item.IsEditable()) return;
    m_profile.Checkout(item, "udm import-tree");
    m_checkedOut.push_back(item);
  }

  void Apply(FolderPlan& plan, vqkudm::UDMItemHandle parent, Progress& progress) {
    if (!plan.touched) return;
    CheckInterrupted();
    if (!plan.isNew) {
      CheckOut(plan.item);
    } else if (parent.IsEmpty()) {
      plan.item = m_profile.CreateEntity(m_arguments.cls, plan.scanned->name);
    } else {
      plan.item = m_profile.CreateAndAdd(m_arguments.cls, plan.scanned->name, parent, Group(parent));
    }
    progress.Advance({1, 0, 0});
    for (const std::string& name : plan.removed) m_profile.RemoveFile(plan.item, name);
    for (vqkudm::UDMItemHandle folder : plan.removedFolders) m_profile.RemoveChildFromParent(plan.item, folder);
    for (const auto* files : {&plan.added, &plan.replaced}) {
      for (const ScannedFile* file : *files) {
        m_profile.AddFile(plan.item).setFilePath(file->path.string()).go();
        progress.Advance({0, 1, file->size});
        if (--m_signalAfter == 0) std::raise(SIGTERM);
        CheckInterrupted();
      }
    }
    for (FolderPlan& folder : plan.folders) Apply(folder, plan.item, progress);
  }

  // Leaves no new item and no check-out of this run behind.
  void Undo(const FolderPlan& root) {
    if (root.isNew && m_under.IsEmpty() && !root.item.IsEmpty()) UndoOne(root.item);
    for (auto item = m_checkedOut.rbegin(); item != m_checkedOut.rend(); ++item) UndoOne(*item);
  }

  void UndoOne(const vqkudm::UDMItemHandle& item) {
    try {
      m_profile.UndoCheckout(item);
    } catch (const vqkudm::UDMException& failure) {
      // The first failure is the one to report; this only adds to it.
      std::cerr << "udm: could not undo " << item.GetUID() << ": " << UserMessage(failure) << "\n";
    }
  }

  static std::string Join(const std::vector<std::string>& paths) {
    std::string out;
    for (const std::string& path : paths) out += (out.empty() ? "" : ", ") + path;
    return out;
  }

  void Print() const {
    nlohmann::json renamed = nlohmann::json::array(), collisions = nlohmann::json::array();
    for (const Renamed& entry : m_tree.renamed) renamed.push_back({{"path", entry.path}, {"name", entry.name}});
    for (const Collision& entry : m_tree.collisions) collisions.push_back({{"name", entry.name}, {"paths", entry.paths}});
    nlohmann::json document = {
        {"dryRun", m_arguments.dryRun},
        {"path", m_plan.path},
        {"created", m_totals.created},
        {"updated", m_totals.updated},
        {"unchanged", m_totals.unchanged},
        {"files",
         {{"added", m_totals.added},
          {"replaced", m_totals.replaced},
          {"removed", m_totals.removed},
          {"unchanged", m_totals.unchangedFiles}}},
        {"removedFolders", m_totals.removedFolders},
        {"bytes", m_totals.bytes},
        {"renamed", renamed},
        {"collisions", collisions}};
    if (!m_plan.item.IsEmpty()) document["item"] = ItemJson(m_plan.item);
    Output(m_options.json).Print(document, [&](std::ostream& out) {
      if (m_arguments.dryRun) PrintPlan(out, m_plan);
      for (const Renamed& entry : m_tree.renamed) out << "rename  " << entry.path << " -> " << entry.name << "\n";
      for (const Collision& entry : m_tree.collisions) {
        out << "collide " << Join(entry.paths) << " as " << entry.name << "\n";
      }
      out << (m_arguments.dryRun ? "Would import " : "Imported ") << m_plan.path << ": " << m_totals.created
          << " folders created, " << m_totals.updated << " updated, " << m_totals.unchanged << " unchanged, "
          << m_totals.removedFolders << " removed; " << m_totals.added << " files added, " << m_totals.replaced
          << " replaced, " << m_totals.removed << " removed; " << m_totals.bytes << " bytes\n";
    });
  }

  static void PrintPlan(std::ostream& out, const FolderPlan& plan) {
    if (plan.isNew) out << "create  " << plan.path << "\n";
    for (const ScannedFile* file : plan.added) out << "add     " << plan.path << "/" << file->name << "  " << file->size << " bytes\n";
    for (const ScannedFile* file : plan.replaced) {
      out << "replace " << plan.path << "/" << file->name << "  " << file->size << " bytes\n";
    }
    for (const std::string& name : plan.removed) out << "remove  " << plan.path << "/" << name << "\n";
    for (const vqkudm::UDMItemHandle& folder : plan.removedFolders) {
      out << "remove  " << plan.path << "/" << folder.GetDisplayName() << "/\n";
    }
    for (const FolderPlan& folder : plan.folders) PrintPlan(out, folder);
  }

  const Options& m_options;
  const ImportArguments& m_arguments;
  OpenRepository m_repository;
  ItemNames m_names;
  vqkudm::IUDMProfile& m_profile;
  ScannedTree m_tree;
  vqkudm::UDMItemHandle m_under;
  FolderPlan m_plan;
  Totals m_totals;
  std::vector<vqkudm::UDMItemHandle> m_checkedOut;
  long m_signalAfter = -1;
};

}  // namespace

void AddImportTreeCommand(CLI::App& app, Tool& tool) {
  auto arguments = std::make_shared<ImportArguments>();
  const Options& options = tool.options;
  CLI::App* command = tool.Add(
      app, kCommand,
      "Imports a directory tree as folder items holding its files, in one check-in; a re-run stores what changed.\n"
      "Example: udm import-tree ./drawings --under assembly --dry-run",
      [&options, arguments] { Import(options, *arguments).Run(); });
  command->add_option("DIR", arguments->dir, "the directory")->required();
  command->add_option("--under", arguments->under, "the ITEM to import under (default: at the top)");
  command->add_option("--class", arguments->cls, "the folders' item definition")->capture_default_str();
  command->add_option("-m,--message", arguments->message, "the check-in's comment");
  command->add_flag("--dry-run", arguments->dryRun, "print what would be stored; store nothing");
}

}  // namespace udm
