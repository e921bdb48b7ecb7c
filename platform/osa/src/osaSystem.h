#pragma once

// Helpers shared by the implementation files; not installed.

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <vqlmosa/osaStatus.h>

namespace osaInternal {

// Our strings are UTF-8; on Windows std::filesystem must be told so, or it
// reads them in the ANSI code page.
inline std::filesystem::path ToPath(const vqString& text) {
  return std::filesystem::u8path(text.str());
}
inline vqString ToText(const std::filesystem::path& path) { return path.u8string(); }

inline std::error_code LastErrno() { return std::error_code(errno, std::generic_category()); }

// "<action> '<subject>': <system reason>"
inline osaStatus SystemFailure(const vqString& action, const vqString& subject,
                               std::error_code reason) {
  return osaStatus::Failure(action + " '" + subject + "': " + reason.message(), reason);
}

}  // namespace osaInternal
