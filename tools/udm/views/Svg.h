#pragma once

// Writing SVG (and the XHTML pages around it) as text: escaping, numbers and
// elements, so every picture the tool draws is well-formed XML.

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace udm::svg {

using Attributes = std::vector<std::pair<std::string, std::string>>;

// Text as character data or an attribute value. Characters XML does not
// allow and bytes that are not UTF-8 become U+FFFD: a check-in comment may
// hold anything.
std::string Escape(std::string_view text);
// At most two decimals, "." whatever the locale.
std::string Number(double value);
// Characters (code points) in UTF-8 text.
std::size_t Length(std::string_view text);
// At most `limit` characters, the last one "…" when cut.
std::string Truncate(std::string_view text, std::size_t limit);

std::string Open(std::string_view name, const Attributes& attributes = {});
std::string Close(std::string_view name);
// An element with no content.
std::string Empty(std::string_view name, const Attributes& attributes);
// An element holding `text`, escaped.
std::string Text(std::string_view name, const Attributes& attributes, std::string_view text);
// A <style> element whose rules survive both XML and HTML parsing.
std::string Style(std::string_view css);

// An <svg> root sized to its content: `width` x `height` user units, a
// matching viewBox, `body` the markup inside.
std::string Picture(double width, double height, std::string_view style, std::string_view body,
                    const Attributes& attributes = {});
// `picture` as a file of its own, with the XML declaration.
std::string StandaloneDocument(std::string_view picture);

}  // namespace udm::svg
