// PLM XML documents, as another PDM system exports them: read by the
// connect profile's reader, written back unchanged and with an edit by its
// writer, and the written text read again; unchanged, it must read as the
// same model. A document the reader or the
// writer cannot take is a ReadError; a model the writer cannot apply is a
// std::invalid_argument (PlmxmlWriter.h).

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include <PlmxmlReader.h>
#include <PlmxmlWriter.h>

using namespace vqkudm::plmxml;

namespace {

// Never read from: the reader only resolves file locations against it.
const char* const kDocumentPath = "/nonexistent/vqkudm-fuzz/doc.plmxml";

// The model as one text, to compare what two readings found.
std::string Summary(const Document& document) {
  std::string text;
  auto values = [&](const std::vector<UserValue>& userValues) {
    for (const UserValue& value : userValues)
      text += " [" + value.title + "=" + value.value + ":" + value.type + "]";
  };
  for (const Item& item : document.items) {
    text += "item " + item.key + " " + item.name + " " + item.subType;
    values(item.userValues);
    for (const Revision& revision : item.revisions) {
      text += "\n rev " + revision.key + " " + revision.revision + " " + revision.name + " " +
              revision.subType;
      values(revision.userValues);
      for (const FileRef& file : revision.files)
        text += "\n  file " + file.path + " " + file.format + " " + file.role;
    }
    text += "\n";
  }
  for (const Use& use : document.uses) {
    text += "use " + use.parentItem + "/" + use.parentRevision + ">" + use.childItem + "/" +
            use.childRevision + " " + use.name + " " + use.transform;
    values(use.userValues);
    text += "\n";
  }
  for (const auto& [item, revision] : document.roots)
    text += "root " + item + "/" + revision + "\n";
  return text;
}

// What the connect profile does on a check-in: a new part used by the first
// root, and the last use gone.
Document Edited(Document document) {
  if (!document.uses.empty()) document.uses.pop_back();
  Item part;
  part.key = "FUZZ-NEW";
  part.name = "added part";
  Revision revision;
  revision.key = revision.revision = "A";
  revision.userValues.push_back({"Material", "steel", ""});
  part.revisions.push_back(revision);
  document.items.push_back(part);
  if (!document.roots.empty()) {
    Use use;
    use.parentItem = document.roots.front().first;
    use.parentRevision = document.roots.front().second;
    use.childItem = part.key;
    use.childRevision = revision.key;
    use.name = "added";
    document.uses.push_back(use);
  }
  return document;
}

// What the writer wrote of the document as it was must read again.
Document ReadBack(const std::string& written) {
  try {
    return ParseDocument(written, kDocumentPath);
  } catch (const ReadError&) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string xml(reinterpret_cast<const char*>(data), size);
  Document original;
  try {
    original = ParseDocument(xml, kDocumentPath);
  } catch (const ReadError&) {
    return 0;
  }
  try {
    const std::string unchanged = WriteDocument(xml, original, original, kDocumentPath);
    if (Summary(ReadBack(unchanged)) != Summary(original)) std::abort();
    // Not yet a promise: a document mixing both shapes (a Product in the
    // UserData of an InstanceGraph's Instance) gains an Instance without a
    // partRef for a new part, which the reader then refuses.
    const std::string edited = WriteDocument(xml, original, Edited(original), kDocumentPath);
    ParseDocument(edited, kDocumentPath);
  } catch (const std::invalid_argument&) {
  } catch (const ReadError&) {
  }
  return 0;
}
