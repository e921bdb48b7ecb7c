#include "repository.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>
#include <set>
#include <system_error>

#include <vqkudm/UDMProfileMgr.h>
#include <vqkudm/UDMQuerySettingHandle.h>
#include <vqkudm/UDMRepositoryLayout.h>
#include <vqkudmrt/UDMException.h>

#include "errors.h"
#include "item.h"
#include "query.h"
#include "subscription.h"
#include "values.h"

namespace fs = std::filesystem;

namespace vqkudm::python {

namespace {

using ConfigMap = vqStlMap<vqString, vqVariant>;

constexpr std::size_t kDmidLength = UDMUID::kDmUidLength;

bool AllOf(const std::string& text, int (*test)(int)) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [test](unsigned char c) { return test(c); });
}

bool IsDmid(const std::string& text) {
  return text.size() == kDmidLength && UDMUID(text + "0").IsValid();
}

// ---- Opening

// The repository of a directory as `udm init DIR` makes it: DIR/.udm/<name>,
// the one already there or a new one named `name` (default: DIR's name).
ConfigMap DirectoryConfiguration(const fs::path& dir, std::string name) {
  const fs::path absolute = fs::absolute(dir).lexically_normal();
  const fs::path udmDir = UDMRepositoryLayout::UdmDirectory(absolute.string()).str();
  if (name.empty()) name = UDMRepositoryLayout::LocalRepositoryName(udmDir.string()).str();
  if (name.empty()) name = (absolute.has_filename() ? absolute : absolute.parent_path()).filename().string();
  ConfigMap configuration = UDMRepositoryLayout::LocalConfiguration(udmDir.string(), name);
  std::error_code error;
  fs::create_directories(udmDir, error);
  if (error) {
    ThrowFileException("vqkudm.open", "cannot create " + udmDir.string() + ": " + error.message(),
                       ExcSubFolderCreation);
  }
  return configuration;
}

ConfigMap DictConfiguration(const py::dict& dict) {
  ConfigMap configuration;
  for (const auto& [key, value] : dict) {
    const std::string name = Text(key, "a configuration key");
    configuration[name] = vqVariant(SettingText(value, name));
  }
  return configuration;
}

// ---- Finding items

// The unstored items still in this session: resumed drafts and items made
// here that are neither checked in nor discarded. Call inside Run.
std::vector<UDMItemHandle> LiveUnstored(Connection& connection) {
  std::vector<UDMItemHandle>& unstored = connection.Unstored();
  std::vector<UDMItemHandle> live;
  for (const UDMItemHandle& item : unstored) {
    try {
      if (item.IsEditable()) live.push_back(item);
    } catch (const UDMException&) {
      // Discarded by an undo.
    }
  }
  unstored = live;
  return live;
}

std::vector<UDMItemHandle> Named(Connection& connection, IUDMProfile& profile, const std::string& name) {
  std::vector<UDMItemHandle> found;
  std::set<std::string> seen;
  auto add = [&](const UDMItemHandle& item) {
    if (profile.GetDisplayName(item) == name && seen.insert(DmidOf(item.GetUID())).second) found.push_back(item);
  };
  // The session's own work first: new items are in no query, and an edited
  // one may have been renamed.
  for (const UDMItemHandle& item : LiveUnstored(connection)) add(item);
  vqStlVector<UDMItemHandle> stored;
  profile.QueryEntities(stored, "name = " + QueryLiteral(name), UDMQuerySettingHandle(), false, false);
  for (const UDMItemHandle& item : stored) add(item);
  return found;
}

[[noreturn]] void NotFound(const std::string& what) {
  RefuseArgument("Repository.get", "no item " + what, ExcSubNotFound);
}

UDMItemHandle ByDmid(Connection& connection, IUDMProfile& profile, const std::string& dmid) {
  for (const UDMItemHandle& item : LiveUnstored(connection)) {
    if (DmidOf(item.GetUID()) == dmid) return item;
  }
  vqStlVector<UDMItemHandle> found;
  profile.QueryEntities(found, "uid like " + QueryLiteral(dmid + "*"), UDMQuerySettingHandle(), false, false);
  if (found.empty()) NotFound("\"" + dmid + "\"");
  return found.front();
}

UDMItemHandle Revision(IUDMProfile& profile, const std::string& dmid, int revision, const std::string& url) {
  try {
    return profile.GetUDMItemHandle(dmid + std::to_string(revision));
  } catch (const UDMException&) {
    NotFound("at \"" + url + "\": revision " + std::to_string(revision) + " of " + dmid + " is not stored");
  }
}

// "/repository/root~v1/group/child~v0/": the root by name among the items
// no item uses, then each child by group and name, each at its revision.
UDMItemHandle ByUrl(Connection& connection, IUDMProfile& profile, const std::string& url) {
  auto malformed = [&](const std::string& why) {
    RefuseArgument("Repository.get", "the URL \"" + url + "\" does not parse: " + why, ExcSubSyntax);
  };
  if (url.size() < 2 || url.back() != '/') malformed("a versioned URL starts and ends with \"/\"");
  std::vector<std::string> segments;
  for (std::size_t start = 1, slash; (slash = url.find('/', start)) != std::string::npos; start = slash + 1) {
    if (slash == start) malformed("it has an empty segment");
    segments.push_back(url.substr(start, slash - start));
  }
  if (segments.size() < 2 || segments.size() % 2 != 0) {
    malformed("after the repository come the root and then pairs of child group and child");
  }
  if (!connection.RepositoryName().empty() && segments[0] != connection.RepositoryName()) {
    RefuseArgument("Repository.get",
                   "the URL \"" + url + "\" is of repository \"" + segments[0] + "\", not \"" +
                       connection.RepositoryName() + "\"",
                   ExcSubNotFound);
  }
  auto step = [&](const std::string& segment, std::string& name) {
    const std::size_t mark = segment.rfind("~v");
    const std::string digits = mark == std::string::npos ? "" : segment.substr(mark + 2);
    int revision = -1;
    if (mark == std::string::npos || mark == 0 || !AllOf(digits, ::isdigit) || !vqString(digits).ToInt(revision)) {
      malformed("\"" + segment + "\" is not a name followed by ~v and a revision");
    }
    name = segment.substr(0, mark);
    return revision;
  };
  std::string name;
  int revision = step(segments[1], name);
  UDMItemHandle item;
  for (const UDMItemHandle& candidate : Named(connection, profile, name)) {
    vqStlVector<boost::shared_ptr<IUDMEntityHandle>> parents;
    Core(candidate)->GetParents(parents, 1, false);
    if (parents.empty()) item = candidate;
  }
  if (item.IsEmpty()) NotFound("at \"" + url + "\": no root item \"" + name + "\"");
  item = Revision(profile, DmidOf(item.GetUID()), revision, url);
  for (std::size_t i = 2; i < segments.size(); i += 2) {
    revision = step(segments[i + 1], name);
    vqStlVector<UDMItemHandle> children;
    profile.GetChildren(children, item, segments[i], "");
    UDMItemHandle child;
    for (const UDMItemHandle& candidate : children) {
      if (profile.GetDisplayName(candidate) == name) child = candidate;
    }
    if (child.IsEmpty()) {
      NotFound("at \"" + url + "\": \"" + profile.GetDisplayName(item).str() + "\" uses no \"" + name + "\" in " +
               segments[i]);
    }
    item = Revision(profile, DmidOf(child.GetUID()), revision, url);
  }
  return item;
}

// ---- The Python classes

Repository Open(py::object target, py::object name, py::object baseDir) {
  ConfigMap configuration;
  const std::string nameText = name.is_none() ? std::string() : Text(name, "name");
  if (py::isinstance<py::dict>(target)) {
    if (!name.is_none() || !baseDir.is_none()) {
      RefuseArgument("open", "a configuration dict says everything: name= and base_dir= go into it", ExcSubGeneral);
    }
    configuration = DictConfiguration(target.cast<py::dict>());
  } else if (!target.is_none()) {
    if (!baseDir.is_none()) RefuseArgument("open", "give a directory or base_dir=, not both", ExcSubGeneral);
    configuration = DirectoryConfiguration(PathText(target, "the repository directory"), nameText);
  } else if (!baseDir.is_none()) {
    if (nameText.empty()) RefuseArgument("open", "base_dir= needs name=, the repository's name", ExcSubEmpty);
    configuration = UDMRepositoryLayout::LocalConfiguration(PathText(baseDir, "base_dir"), nameText);
  } else if (!nameText.empty()) {
    configuration = UDMRepositoryLayout::RegisteredConfiguration(nameText);
  } else {
    RefuseArgument("open", "open() needs a directory, name= (with base_dir= or registered) or a configuration dict",
                   ExcSubEmpty);
  }
  const std::string repositoryName = configuration["RepositoryName"].ToString().str();
  boost::shared_ptr<IUDMProfile> profile;
  std::vector<UDMItemHandle> work;
  {
    py::gil_scoped_release release;
    profile = UDMProfileMgr::GetProfile(configuration);
    try {
      // The user's check-outs of earlier sessions move to this one, with the
      // work `udm` saved: else an item left checked out could not be checked
      // out again.
      vqStlVector<UDMResumedWork> resumed;
      UDMProfileExtensions::ResumeSavedWork(profile, resumed);
      for (const UDMResumedWork& entry : resumed) work.push_back(entry.item);
    } catch (...) {
      UDMProfileMgr::DiscardProfile(profile);
      throw;
    }
  }
  auto connection = std::make_shared<Connection>(profile, repositoryName);
  connection->Unstored() = work;
  return Repository{connection};
}

}  // namespace

void RegisterRepository(py::module_& module) {
  py::class_<Repository>(module, "Repository",
                         "An open repository: one session on it. Use it in a with block, or close() it:\n\n"
                         "    with vqkudm.open(\"bike\") as repo:\n"
                         "        frame = repo.create(\"UDMPart\", \"frame\", mass=2.1)\n"
                         "        frame.checkin(\"first frame\")\n\n"
                         "Items made from it stop working (StateError) once it is closed.")
      .def("__enter__", [](Repository& self) { return self; }, "The repository itself.")
      .def("__exit__", [](Repository& self, py::object, py::object, py::object) {
        self.connection->Close();
        return false;
      }, "Closes the repository.")
      .def("close", [](Repository& self) { self.connection->Close(); },
           "Closes the session (UDMProfileMgr::DiscardProfile). Work not checked in is dropped; items\n"
           "left checked out stay locked to the user, and a later open() of the same user takes\n"
           "them up again.")
      .def_property_readonly("closed", [](Repository& self) { return self.connection->IsClosed(); },
                             "Whether close() was called.")
      .def_property_readonly("name", [](Repository& self) { return self.connection->RepositoryName(); },
                             "The repository's name.")
      .def(
          "create",
          [](Repository& self, py::handle cdef, py::handle name, py::object parent, py::object group,
             py::kwargs attributes) {
            const std::string cdefText = Text(cdef, "cdef");
            const std::string nameText = Text(name, "name");
            const std::string groupText = group.is_none() ? std::string() : Text(group, "group");
            const Item* parentItem = parent.is_none() ? nullptr : &parent.cast<const Item&>();
            if (parentItem && parentItem->connection != self.connection) {
              RefuseArgument("Repository.create", "the parent is an item of another repository", ExcSubGeneral);
            }
            std::vector<std::pair<std::string, vqVariant>> values;
            for (const auto& [key, value] : attributes) {
              const std::string attribute = key.cast<std::string>();
              values.emplace_back(attribute, ToVariant(value, "attribute \"" + attribute + "\""));
            }
            Connection& connection = *self.connection;
            const UDMItemHandle created =
                connection.Run("Repository.create", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  UDMItemHandle item;
                  if (parentItem) {
                    const std::string chosen =
                        groupText.empty() ? DefaultGroup(profile, parentItem->handle, cdefText) : groupText;
                    item = profile->CreateAndAdd(cdefText, nameText, parentItem->handle, chosen);
                  } else {
                    item = profile->CreateEntity(cdefText, nameText);
                  }
                  try {
                    for (const auto& [attribute, value] : values) {
                      RequireAttribute(*profile, cdefText, attribute, "Repository.create");
                      profile->SetAttribute(item, attribute, value);
                    }
                  } catch (const UDMException&) {
                    // All or nothing: a refused value leaves no half-made item.
                    profile->UndoCheckout(item);
                    throw;
                  }
                  connection.Unstored().push_back(item);
                  return item;
                });
            return Item(self.connection, created);
          },
          py::arg("cdef"), py::arg("name"), py::kw_only(), py::arg("parent") = py::none(),
          py::arg("group") = py::none(),
          "Creates an item of definition `cdef` named `name`, checked out to its creator; keyword\n"
          "arguments set its attributes. With `parent` (checked out or new) the item is used by it in\n"
          "`group` (default: the first child group admitting `cdef`). Nothing is stored until\n"
          "checkin(); undo() discards it. A refused value raises and leaves no item behind.")
      .def(
          "get",
          [](Repository& self, py::handle identifier) {
            const std::string text = Text(identifier, "an item identifier");
            Connection& connection = *self.connection;
            const UDMItemHandle item = connection.Run("Repository.get", [&](const boost::shared_ptr<IUDMProfile>& profile) {
              if (!text.empty() && text[0] == '/') return ByUrl(connection, *profile, text);
              if (IsDmid(text)) return ByDmid(connection, *profile, text);
              if (!UDMUID(text).IsValid()) {
                RefuseArgument("Repository.get",
                               "\"" + text + "\" is neither an identifier (32 hex digits, then a revision) nor a "
                               "versioned URL; find() looks items up by name",
                               ExcSubSyntax);
              }
              try {
                return profile->GetUDMItemHandle(text);
              } catch (const UDMException&) {
                NotFound("\"" + text + "\"");
              }
            });
            return Item(self.connection, item);
          },
          py::arg("uid_or_url"),
          "The item of an identifier: a revision's (Item.uid), the 32-hex-digit id of the item for its\n"
          "latest revision, or a versioned URL (\"/repo/assembly~v1/parts/bolt~v0/\").\n"
          "InvalidArgumentError (NOT_FOUND) when there is none.")
      .def(
          "find",
          [](Repository& self, py::handle name) {
            const std::string text = Text(name, "name");
            Connection& connection = *self.connection;
            const std::vector<UDMItemHandle> found = connection.Run(
                "Repository.find",
                [&](const boost::shared_ptr<IUDMProfile>& profile) { return Named(connection, *profile, text); });
            return ItemList(self.connection, found);
          },
          py::arg("name"),
          "The items named `name`: the latest stored revisions, and this session's new and\n"
          "checked-out items. A list, empty when there are none.")
      .def("query",
           [](Repository& self, py::handle expression, py::handle sort, py::handle pageSize, bool ignoreCase) {
             return Query(self.connection, expression, sort, pageSize, ignoreCase);
           },
           py::arg("expression") = "", py::kw_only(), py::arg("sort") = py::none(),
           py::arg("page_size") = 100, py::arg("ignore_case") = false, kQueryDoc)
      .def("subscribe", [](Repository& self, py::handle callback) { return Subscribe(self.connection, callback); },
           py::arg("callback"),
           "Calls callback(change) with a Change for every change made through this repository (its\n"
           "session): on the thread that made it, once the call that made it returns. Returns a\n"
           "Subscription; the calls stop at its close(), when it is collected, or when the repository\n"
           "closes. An exception from the callback goes to sys.unraisablehook; the change stands.")
      .def("__repr__", [](Repository& self) {
        return "<vqkudm.Repository " + py::repr(py::str(self.connection->RepositoryName())).cast<std::string>() +
               (self.connection->IsClosed() ? " closed>" : ">");
      });

  module.def("open", &Open, py::arg("path") = py::none(), py::kw_only(), py::arg("name") = py::none(),
             py::arg("base_dir") = py::none(),
             "Opens a repository and returns a Repository (a context manager).\n\n"
             "    open(\"path/to/dir\")          the embedded repository of a directory, laid out as\n"
             "                                 `udm init` does (dir/.udm); made when missing\n"
             "    open(name=\"n\", base_dir=\"d\")  the embedded repository d/n, made when missing\n"
             "    open(name=\"n\")               the registered repository of that name or id\n"
             "    open({\"DataSource\": ...})     the profile manager's configuration keys, passed\n"
             "                                 through: \"PostGres\" with \"dbconnectstring\" and\n"
             "                                 \"RepositoryName\", \"UDMXML\" with \"FileDataSource\"\n"
             "                                 and \"ConnectionIdentifier\", ...\n\n"
             "Paths may be str or os.PathLike. The user's check-outs and saved work of earlier sessions\n"
             "are taken up. Raises Error when the repository cannot be opened.");
}

}  // namespace vqkudm::python
