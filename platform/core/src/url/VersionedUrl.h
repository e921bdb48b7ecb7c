#pragma once

// Versioned URLs: "/" + repository + "/" + root name + "~v" + root revision
// + "/", then for each level below the child group and the child's name
// with its own "~v" revision, every segment ended by "/". Names never hold
// a reserved character, so a URL always splits back into its parts.

#include <vector>

#include <vqutl/vqString.h>

namespace vqkudm::url {

struct UrlStep {
  vqString group;  // empty for the root
  vqString name;
  int revision = 0;
};

struct VersionedUrl {
  vqString repository;
  std::vector<UrlStep> steps;  // the root first
};

vqString FormatVersionedUrl(const VersionedUrl& url);
// Raises UDMException (ExcSubSyntax) naming the URL and what is wrong with it.
VersionedUrl ParseVersionedUrl(const vqString& text);

}  // namespace vqkudm::url
