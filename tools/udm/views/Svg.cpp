#include "views/Svg.h"

#include <cmath>
#include <cstdint>
#include <cstdio>

namespace udm::svg {

namespace {

constexpr const char* kReplacement = "\xEF\xBF\xBD";

// The code point starting at `text[at]` and its length in bytes; 0 bytes when
// the sequence is not UTF-8 (overlong, a surrogate, cut short).
std::pair<std::uint32_t, std::size_t> Decode(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  if (lead < 0x80) return {lead, 1};
  std::size_t size = lead >= 0xF0 && lead < 0xF5 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 && lead < 0xE0 ? 2 : 0;
  if (lead >= 0xF5) size = 0;
  if (size == 0 || at + size > text.size()) return {0, 0};
  std::uint32_t point = lead & (0xFF >> (size + 1));
  for (std::size_t i = 1; i < size; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return {0, 0};
    point = point << 6 | (byte(at + i) & 0x3F);
  }
  const std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (point < smallest[size] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) return {0, 0};
  return {point, size};
}

bool AllowedInXml(std::uint32_t point) {
  return point == 0x9 || point == 0xA || point == 0xD || (point >= 0x20 && point <= 0xD7FF) ||
         (point >= 0xE000 && point <= 0xFFFD) || point >= 0x10000;
}

}  // namespace

std::string Escape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const auto [point, size] = Decode(text, at);
    if (size == 0 || !AllowedInXml(point)) {
      out += kReplacement;
      at += size == 0 ? 1 : size;
      continue;
    }
    switch (point) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      // Attribute values would fold them into spaces.
      case '\n': out += "&#10;"; break;
      case '\r': out += "&#13;"; break;
      case '\t': out += "&#9;"; break;
      default: out.append(text, at, size);
    }
    at += size;
  }
  return out;
}

std::string Number(double value) {
  if (!std::isfinite(value)) value = 0;
  char text[64];
  std::snprintf(text, sizeof text, "%.2f", value);
  std::string out = text;
  for (char& c : out) {
    if (c == ',') c = '.';
  }
  out.erase(out.find_last_not_of('0') + 1);
  if (out.back() == '.') out.pop_back();
  return out == "-0" ? "0" : out;
}

std::size_t Length(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size(); ++count) {
    const std::size_t size = Decode(text, at).second;
    at += size == 0 ? 1 : size;
  }
  return count;
}

std::string Truncate(std::string_view text, std::size_t limit) {
  if (Length(text) <= limit) return std::string(text);
  if (limit == 0) return "";
  std::size_t at = 0;
  for (std::size_t kept = 0; kept + 1 < limit && at < text.size(); ++kept) {
    const std::size_t size = Decode(text, at).second;
    at += size == 0 ? 1 : size;
  }
  return std::string(text.substr(0, at)) + "\xE2\x80\xA6";
}

std::string Open(std::string_view name, const Attributes& attributes) {
  std::string out = "<" + std::string(name);
  for (const auto& [key, value] : attributes) out += " " + key + "=\"" + Escape(value) + "\"";
  return out + ">";
}

std::string Close(std::string_view name) { return "</" + std::string(name) + ">"; }

std::string Empty(std::string_view name, const Attributes& attributes) {
  std::string out = Open(name, attributes);
  out.insert(out.size() - 1, "/");
  return out;
}

std::string Text(std::string_view name, const Attributes& attributes, std::string_view text) {
  return Open(name, attributes) + Escape(text) + Close(name);
}

std::string Style(std::string_view css) {
  // CDATA keeps XML parsers off the rules; the comments hide its markers from CSS.
  return "<style>/*<![CDATA[*/\n" + std::string(css) + "\n/*]]>*/</style>";
}

std::string Picture(double width, double height, std::string_view style, std::string_view body,
                    const Attributes& attributes) {
  Attributes root{{"xmlns", "http://www.w3.org/2000/svg"},
                  {"width", Number(width)},
                  {"height", Number(height)},
                  {"viewBox", "0 0 " + Number(width) + " " + Number(height)}};
  root.insert(root.end(), attributes.begin(), attributes.end());
  return Open("svg", root) + "\n" + (style.empty() ? "" : Style(style) + "\n") + std::string(body) + Close("svg");
}

std::string StandaloneDocument(std::string_view picture) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + std::string(picture) + "\n";
}

}  // namespace udm::svg
