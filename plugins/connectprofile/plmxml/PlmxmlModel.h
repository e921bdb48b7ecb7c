#pragma once

// A PLM XML document as the connect profile sees it: items with revisions,
// the uses between revisions, and where each came from in the document, so
// that a reload finds the same items and a write-back edits the same
// elements. Both shapes of the format read into this one model.

#include <string>
#include <vector>

namespace vqkudm::plmxml {

// A UserValue: `title` names the attribute.
struct UserValue {
  std::string title;
  std::string value;
  std::string type;  // as written ("int", "real", "boolean", ...); empty when absent
};

// A file the document refers to (ExternalFile, or Representation "location").
struct FileRef {
  std::string location;  // as written in the document (decoded from a file: URI)
  std::string path;      // absolute, resolved against the document's directory
  std::string format;    // "format" attribute, else the extension without the dot
  std::string role;      // the attachment or dataset role, when one is given
  std::string elementId; // id of the element that carries the location
  int line = 0;          // where that element is in the document, from 1
};

struct Revision {
  std::string key;        // identity of the revision within its item: the revision label, else the element id
  std::string elementId;  // id attribute of the ProductRevision or Part
  std::string revision;   // "revision" attribute; empty when absent
  std::string name;
  std::string subType;
  std::vector<UserValue> userValues;
  std::vector<FileRef> files;
};

struct Item {
  std::string key;        // identity across exports: productId, else the element id
  std::string elementId;  // id of the Product (or of the first Part with this key)
  std::string name;
  std::string subType;
  std::vector<UserValue> userValues;  // the Product's own user data
  std::vector<Revision> revisions;    // in document order
};

// One use of a child revision by a parent revision.
struct Use {
  std::string parentItem, parentRevision;  // Item::key, Revision::key
  std::string childItem, childRevision;
  std::string elementId;   // the Occurrence or Instance it was read from
  std::string name;        // the occurrence's or instance's name; empty when absent
  std::string transform;   // 16 numbers, row-major, as written; empty when absent
  std::vector<UserValue> userValues;  // in-context values (sequence number, quantity, ...)
};

struct Document {
  std::vector<Item> items;
  // Each parent revision's uses in document order. A revision reached by
  // several occurrences of the expanded tree contributes its uses once.
  std::vector<Use> uses;
  // The revisions at the top of the structure (no parent in the document).
  std::vector<std::pair<std::string, std::string>> roots;  // (item key, revision key)
};

}  // namespace vqkudm::plmxml
