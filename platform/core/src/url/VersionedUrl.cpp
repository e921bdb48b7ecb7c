#include "VersionedUrl.h"

#include <vqkudmrt/UDMException.h>

namespace vqkudm::url {

namespace {

const char* const kRevisionMark = "~v";

[[noreturn]] void Malformed(const vqString& text, const vqString& why) {
  ThrowInvalidArgException(UDM_FUNCSIG, "the URL \"" + text + "\" does not parse: " + why, ExcSubSyntax);
}

UrlStep ParseStep(const vqString& text, const vqString& group, const vqString& segment) {
  const std::size_t mark = segment.rfind(kRevisionMark);
  if (mark == vqString::npos || mark == 0) {
    Malformed(text, "\"" + segment + "\" is not a name followed by ~v and a revision");
  }
  const vqString digits = segment.substr(mark + 2);
  int revision = -1;
  const bool decimal = !digits.empty() && digits.find_first_not_of("0123456789") == vqString::npos;
  if (!decimal || !vqString(digits).ToInt(revision) || revision < 0) {
    Malformed(text, "\"" + digits + "\" in \"" + segment + "\" is not a revision number");
  }
  return {group, segment.substr(0, mark), revision};
}

}  // namespace

vqString FormatVersionedUrl(const VersionedUrl& url) {
  vqString text = "/" + url.repository + "/";
  for (const UrlStep& step : url.steps) {
    if (!step.group.empty()) text += step.group + "/";
    text += step.name + kRevisionMark + vqString::FromInt(step.revision) + "/";
  }
  return text;
}

VersionedUrl ParseVersionedUrl(const vqString& text) {
  if (text.size() < 2 || text.front() != '/' || text.back() != '/') {
    Malformed(text, "a versioned URL starts and ends with \"/\"");
  }
  std::vector<vqString> segments;
  std::size_t start = 1;
  for (std::size_t slash = text.find('/', start); slash != vqString::npos; slash = text.find('/', start)) {
    if (slash == start) Malformed(text, "it has an empty segment");
    segments.push_back(text.substr(start, slash - start));
    start = slash + 1;
  }
  if (segments.size() < 2 || segments.size() % 2 != 0) {
    Malformed(text, "after the repository come the root and then pairs of child group and child");
  }
  VersionedUrl url;
  url.repository = segments[0];
  url.steps.push_back(ParseStep(text, vqString(), segments[1]));
  for (std::size_t i = 2; i < segments.size(); i += 2) url.steps.push_back(ParseStep(text, segments[i], segments[i + 1]));
  return url;
}

}  // namespace vqkudm::url
