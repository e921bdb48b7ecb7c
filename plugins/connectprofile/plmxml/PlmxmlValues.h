#pragma once

// Values the reader takes from an element's content rather than from its
// references. Internal to the reader and the writer.

#include <pugixml.hpp>

#include <string>
#include <string_view>
#include <vector>

#include "PlmxmlIndex.h"
#include "PlmxmlModel.h"

namespace vqkudm::plmxml::detail {

// A number as a Transform may hold it ("+0.5" too).
bool IsNumber(std::string_view token);

// The UserValues of all UserData children of `owner`.
std::vector<UserValue> ReadUserValues(pugi::xml_node owner);

// The 16 numbers of the Transform child, as written and one space apart; ""
// when there is none or it is blank. Anything else fails on `owner`.
std::string ReadTransform(const Index& index, pugi::xml_node owner);

// A file: URI becomes the path it names; anything else already is a path.
std::string DecodedLocation(std::string_view written);

}  // namespace vqkudm::plmxml::detail
