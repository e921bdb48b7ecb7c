#pragma once

// A file or preview image of an entity revision, as the entity lists it.

#include <cstdint>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqString.h>

namespace vqlm {

// Kinds of preview image.
enum ImageType { ImageUnknown = 0, ImagePng = 1, ImageJpeg = 2, ImageBmp = 3, ImageGif = 4, ImageTiff = 5, ImageSvg = 6 };

}  // namespace vqlm

namespace vqkudm {

class VQKUDMRT_API UDMGenericDocument {
 public:
  UDMGenericDocument() = default;

  // The plain file name.
  const vqString& GetName() const { return m_name; }
  // The sub-folder the file goes to when files are fetched; empty for the top.
  const vqString& GetFolder() const { return m_folder; }
  // The vault's key of the bytes: a hash of them. Empty for an external file.
  const vqString& GetContentKey() const { return m_contentKey; }
  std::int64_t GetSize() const { return m_size; }
  const vqString& GetModifiedTime() const { return m_modifiedTime; }
  const vqString& GetAddedTime() const { return m_addedTime; }
  // An external file is recorded, not kept: it stays where it is.
  bool IsExternal() const { return m_contentKey.empty(); }
  const vqString& GetSourcePath() const { return m_sourcePath; }

  bool IsPreviewImage() const { return m_preview; }
  vqlm::ImageType GetImageType() const { return m_imageType; }
  const vqString& GetDescription() const { return m_description; }
  // The preview shown for the entity; one per entity.
  bool IsDefault() const { return m_default; }

 private:
  friend class UDMItem;
  vqString m_name, m_folder, m_contentKey, m_modifiedTime, m_addedTime, m_sourcePath, m_description;
  std::int64_t m_size = 0;
  bool m_preview = false;
  vqlm::ImageType m_imageType = vqlm::ImageUnknown;
  bool m_default = false;
};

}  // namespace vqkudm
