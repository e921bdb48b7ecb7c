#pragma once

// Editing a content-definition file: adding attributes (metadata) and
// composite attributes to one definition, then writing the file anew, in the
// format the runtime reads (docs/definitions.md).

#include <memory>

#include <vqlmcdefedit/vqlmcdefeditApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqlm {

// Metadata types and their names ("string", "long", "int", "float", "bool",
// "stringlist", "date", "color", "unique"; read ignoring case).
enum LMMETADATATYPE {
  LMMETADATA_STRING = 0,
  LMMETADATA_LONG = 1,
  LMMETADATA_INT = 2,
  LMMETADATA_FLOAT = 3,
  LMMETADATA_BOOL = 4,
  LMMETADATA_STRINGLIST = 5,
  LMMETADATA_DATE = 6,
  LMMETADATA_COLOR = 7,
  LMMETADATA_UNIQUE = 8,
};
// False for a name that is none of them.
VQLMCDEFEDIT_API bool MetadataTypeFromName(const vqString& name, LMMETADATATYPE& out);
// The attribute type a definition file uses for it ("String", "Long", ...).
VQLMCDEFEDIT_API vqString DefinitionTypeName(LMMETADATATYPE type);

class VQLMCDEFEDIT_API ContentDefinitionModifier {
 public:
  // Reads `path`; edits go to the definition `type` in it, or to its first
  // definition when `type` is empty. IsValid() says whether that worked.
  explicit ContentDefinitionModifier(const vqString& path, const vqString& type = vqString());
  ~ContentDefinitionModifier();
  ContentDefinitionModifier(const ContentDefinitionModifier&) = delete;
  ContentDefinitionModifier& operator=(const ContentDefinitionModifier&) = delete;

  bool IsValid() const;
  // Why the last call failed.
  const vqString& GetLastError() const { return m_error; }

  // Adds an attribute; false (nothing changed) for an empty or taken name or
  // an unknown type value.
  bool AddMetadata(const vqString& name, int typeValue, bool mandatory, bool editable, bool displayable,
                   const vqString& displayName, const vqString& description, const vqString& category,
                   const vqString& defaultValue, const vqStlVector<vqString>& validValues);
  // Adds a composite of existing attributes; false when a member is not an
  // attribute of the definition or the name is taken.
  bool AddCompositeMetadata(const vqString& name, const vqString& type, const vqString& displayName,
                            const vqStlVector<vqString>& memberNames, const vqString& delimiter);
  // Writes the whole file, edited, to `path` (through a temporary name).
  bool Write(const vqString& path);

 private:
  struct Document;
  std::unique_ptr<Document> m_document;
  vqString m_error;
};

}  // namespace vqlm
