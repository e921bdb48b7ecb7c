#include "PlmxmlValues.h"

#include <cctype>
#include <charconv>

namespace vqkudm::plmxml::detail {

namespace {

std::string PercentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned byte = 0;
    if (text[i] == '%' && i + 2 < text.size() &&
        std::from_chars(text.data() + i + 1, text.data() + i + 3, byte, 16).ptr ==
            text.data() + i + 3) {
      decoded += static_cast<char>(byte);
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

}  // namespace

bool IsNumber(std::string_view token) {
  if (token.size() > 1 && token[0] == '+' && token[1] != '-') token.remove_prefix(1);
  double number = 0;
  const char* end = token.data() + token.size();
  const auto [stop, error] = std::from_chars(token.data(), end, number);
  return error == std::errc() && stop == end;
}

std::vector<UserValue> ReadUserValues(pugi::xml_node owner) {
  std::vector<UserValue> values;
  for (pugi::xml_node data : owner.children()) {
    if (LocalName(data.name()) != "UserData") continue;
    for (pugi::xml_node value : data.children()) {
      if (LocalName(value.name()) != "UserValue") continue;
      const pugi::xml_attribute written = Attribute(value, "value");
      values.push_back({Value(value, "title"), written ? written.value() : value.text().get(),
                        Value(value, "type")});
    }
  }
  return values;
}

std::string ReadTransform(const Index& index, pugi::xml_node owner) {
  const std::vector<std::string_view> words = Words(Child(owner, "Transform").text().get());
  if (!words.empty() && words.size() != 16) {
    index.Fail(owner, "Transform holds " + std::to_string(words.size()) + " numbers instead of 16");
  }
  std::string numbers;
  for (const std::string_view word : words) {
    if (!IsNumber(word))
      index.Fail(owner, "Transform holds \"" + std::string(word) + "\", not a number");
    if (!numbers.empty()) numbers += ' ';
    numbers += word;
  }
  return numbers;
}

std::string DecodedLocation(std::string_view written) {
  std::string scheme(written.substr(0, 5));
  for (char& c : scheme) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (scheme != "file:") return std::string(written);
  std::string_view rest = written.substr(5);
  if (rest.substr(0, 2) == "//") {
    rest.remove_prefix(2);
    const std::size_t slash = rest.find('/');
    const std::string_view host = rest.substr(0, slash);
    if (!host.empty() && host != "localhost")
      return "//" + PercentDecoded(rest);  // a network share
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash);
  }
  std::string path = PercentDecoded(rest);
  // file:///C:/dir names the drive path C:/dir, not a directory "C:".
  if (path.size() > 2 && path[0] == '/' && std::isalpha(static_cast<unsigned char>(path[1])) &&
      path[2] == ':') {
    path.erase(0, 1);
  }
  return path;
}

}  // namespace vqkudm::plmxml::detail
