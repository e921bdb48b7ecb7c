#include "files.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <vqkudmrt/UDMException.h>

#include "errors.h"
#include "item.h"
#include "records.h"
#include "values.h"

namespace fs = std::filesystem;

namespace vqkudm::python {

namespace {

// The File and Preview record types.
py::handle g_file;
py::handle g_preview;

const char* ImageTypeName(vqlm::ImageType type) {
  switch (type) {
    case vqlm::ImagePng:
      return "png";
    case vqlm::ImageJpeg:
      return "jpeg";
    case vqlm::ImageBmp:
      return "bmp";
    case vqlm::ImageGif:
      return "gif";
    case vqlm::ImageTiff:
      return "tiff";
    case vqlm::ImageSvg:
      return "svg";
    case vqlm::ImageUnknown:
      break;
  }
  return "unknown";
}

vqlm::ImageType ImageTypeOf(const fs::path& path) {
  std::string extension = path.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (extension == ".png") return vqlm::ImagePng;
  if (extension == ".jpg" || extension == ".jpeg") return vqlm::ImageJpeg;
  if (extension == ".bmp") return vqlm::ImageBmp;
  if (extension == ".gif") return vqlm::ImageGif;
  if (extension == ".tif" || extension == ".tiff") return vqlm::ImageTiff;
  if (extension == ".svg") return vqlm::ImageSvg;
  return vqlm::ImageUnknown;
}

py::object Time(const vqString& text) {
  return text.empty() ? py::object(py::none()) : ToPython(vqVariant(text), "Date");
}

py::object Hash(const UDMGenericDocument& file) {
  return file.IsExternal() ? py::object(py::none())
                           : py::object(py::str(file.GetContentKey().str()));
}

py::list FileRecords(const std::vector<UDMGenericDocument>& files) {
  py::list out;
  for (const UDMGenericDocument& file : files) {
    out.append(g_file(file.GetName().str(), file.GetFolder().str(), file.GetSize(), Hash(file),
                      Time(file.GetModifiedTime()), Time(file.GetAddedTime()), file.IsExternal()));
  }
  return out;
}

py::list PreviewRecords(const std::vector<UDMGenericDocument>& previews) {
  py::list out;
  for (const UDMGenericDocument& preview : previews) {
    out.append(g_preview(preview.GetName().str(), preview.GetSize(), Hash(preview),
                         ImageTypeName(preview.GetImageType()), preview.GetDescription().str(),
                         preview.IsDefault()));
  }
  return out;
}

std::vector<UDMGenericDocument> Previews(Item& self, const char* where) {
  return self.connection->Run(where, [&](const boost::shared_ptr<IUDMProfile>& profile) {
    vqStlVector<UDMGenericDocument> previews;
    UDMProfileExtensions::PreviewImages(profile, self.handle, previews);
    return std::vector<UDMGenericDocument>(previews.begin(), previews.end());
  });
}

// An existing regular file, made absolute: the runtime resolves relative
// paths against its own idea of the current directory.
std::string ExistingFile(py::handle path, const char* where) {
  const fs::path file = fs::absolute(PathText(path, "path"));
  std::error_code error;
  if (!fs::is_regular_file(file, error)) {
    ThrowFileException(where, "no file " + file.string(), ExcSubNotFound);
  }
  return file.string();
}

std::string Folder(py::handle folder, const char* where) {
  const fs::path absolute = fs::absolute(PathText(folder, "folder"));
  std::error_code error;
  fs::create_directories(absolute, error);
  if (error)
    ThrowFileException(where, "cannot create " + absolute.string() + ": " + error.message(),
                       ExcSubFolderCreation);
  return absolute.string();
}

}  // namespace

void RegisterFiles(py::module_& module) {
  auto item = py::reinterpret_borrow<py::class_<Item>>(module.attr("Item"));
  item.def_property_readonly(
          "files",
          [](Item& self) {
            return FileRecords(self.connection->Run(
                "Item.files", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  vqStlVector<UDMGenericDocument> files;
                  profile->GetFileInfoList(self.handle, files, true);
                  return std::vector<UDMGenericDocument>(files.begin(), files.end());
                }));
          },
          "The item's files, in the order they were added, as File(name, folder, size, hash, "
          "modified,\n"
          "added, external): hash is the hex BLAKE2b-256 digest of the content\n"
          "(hashlib.blake2b(data, digest_size=32)), None for an external file, which is only "
          "recorded.")
      .def(
          "add_file",
          [](Item& self, py::handle path) {
            const std::string file = ExistingFile(path, "Item.add_file");
            self.connection->Run("Item.add_file",
                                 [&](const boost::shared_ptr<IUDMProfile>& profile) {
                                   profile->AddFile(self.handle).setFilePath(file).go();
                                 });
          },
          py::arg("path"),
          "Copies a file into the vault for the checked-out or new item, under its own name; it\n"
          "replaces the content of a file of the same name. Kept with the next check-in.")
      .def(
          "remove_file",
          [](Item& self, const std::string& name) {
            self.connection->Run("Item.remove_file",
                                 [&](const boost::shared_ptr<IUDMProfile>& profile) {
                                   profile->RemoveFile(self.handle, name);
                                 });
          },
          py::arg("name"), "Removes the file of that name from the checked-out or new item.")
      .def(
          "fetch_files",
          [](Item& self, py::handle folder, bool overwrite) {
            const std::string target = Folder(folder, "Item.fetch_files");
            const std::vector<std::string> written = self.connection->Run(
                "Item.fetch_files", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  vqStlVector<vqString> paths;
                  profile->GetAllFilesIntoFolder(self.handle, target, overwrite, paths);
                  return std::vector<std::string>(paths.begin(), paths.end());
                });
            py::list out;
            for (const std::string& path : written) out.append(py::str(path));
            return out;
          },
          py::arg("folder"), py::kw_only(), py::arg("overwrite") = true,
          "Writes the item's kept files into `folder` (made when missing), each in its sub-folder, "
          "and\n"
          "returns the paths written. overwrite=False leaves files that are there already alone.")
      .def_property_readonly(
          "previews", [](Item& self) { return PreviewRecords(Previews(self, "Item.previews")); },
          "The item's preview images as Preview(name, size, hash, type, description, default).")
      .def(
          "add_preview",
          [](Item& self, py::handle path, py::object name, const std::string& description,
             bool makeDefault) {
            const std::string file = ExistingFile(path, "Item.add_preview");
            const std::string chosen =
                name.is_none() ? fs::path(file).filename().string() : Text(name, "name");
            self.connection->Run(
                "Item.add_preview", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  profile->AddPreviewImage(self.handle, file, chosen, ImageTypeOf(file),
                                           description, makeDefault, true);
                });
          },
          py::arg("path"), py::kw_only(), py::arg("name") = py::none(), py::arg("description") = "",
          py::arg("default") = false,
          "Adds an image as a preview of the checked-out or new item, named `name` (default: the\n"
          "file's name) and replacing a preview of that name. The first preview is the default "
          "one\n"
          "until another is added with default=True.")
      .def(
          "remove_preview",
          [](Item& self, const std::string& name) {
            self.connection->Run("Item.remove_preview",
                                 [&](const boost::shared_ptr<IUDMProfile>& profile) {
                                   profile->RemovePreviewImage(self.handle, name);
                                 });
          },
          py::arg("name"),
          "Removes the preview of that name; another becomes the default when it was.")
      .def_property(
          "default_preview",
          [](Item& self) -> py::object {
            for (const UDMGenericDocument& preview : Previews(self, "Item.default_preview")) {
              if (preview.IsDefault()) return py::str(preview.GetName().str());
            }
            return py::none();
          },
          [](Item& self, const std::string& name) {
            self.connection->Run("Item.default_preview",
                                 [&](const boost::shared_ptr<IUDMProfile>& profile) {
                                   profile->SetDefaultPreviewImage(self.handle, name);
                                 });
          },
          "The name of the default preview, None without previews. Setting it needs the item "
          "checked\n"
          "out.")
      .def(
          "fetch_preview",
          [](Item& self, py::handle folder, py::object name) {
            const std::string target = Folder(folder, "Item.fetch_preview");
            std::string chosen = name.is_none() ? std::string() : Text(name, "name");
            return self.connection->Run(
                "Item.fetch_preview", [&](const boost::shared_ptr<IUDMProfile>& profile) {
                  if (chosen.empty()) {
                    vqStlVector<UDMGenericDocument> previews;
                    UDMProfileExtensions::PreviewImages(profile, self.handle, previews);
                    for (const UDMGenericDocument& preview : previews) {
                      if (preview.IsDefault()) chosen = preview.GetName().str();
                    }
                    if (chosen.empty()) {
                      RefuseArgument("Item.fetch_preview",
                                     self.handle.GetDisplayName().str() + " has no preview images",
                                     ExcSubNotFound);
                    }
                  }
                  return UDMProfileExtensions::FetchPreviewImage(profile, self.handle, chosen,
                                                                 target)
                      .str();
                });
          },
          py::arg("folder"), py::arg("name") = py::none(),
          "Writes a preview image (default: the default one) into `folder` (made when missing),\n"
          "replacing a file of that name, and returns its path.");

  g_file = RecordType(
      module, "File", {"name", "folder", "size", "hash", "modified", "added", "external"},
      "One file of Item.files: its name, its folder (\"\" for the top), its size in bytes, the "
      "hex\n"
      "BLAKE2b-256 digest of its content (None when external), when the file was last modified "
      "and\n"
      "when it was added (datetimes), and whether it is external (recorded, not kept).");
  g_preview = RecordType(
      module, "Preview", {"name", "size", "hash", "type", "description", "default"},
      "One preview image of Item.previews: its name, size, content digest, image type (\"png\",\n"
      "\"jpeg\", \"bmp\", \"gif\", \"tiff\", \"svg\" or \"unknown\"), description, and whether it "
      "is the\n"
      "item's default preview.");
}

}  // namespace vqkudm::python
