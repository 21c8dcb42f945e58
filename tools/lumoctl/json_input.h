// --input FILE|-: request fields given as a JSON object in a file or on standard input.
#pragma once

#include <string>

#include "platform/message.h"

namespace lumoctl {

// Adds the fields of the JSON object in the named file ("-" for standard input) to into.
// False with a one-line reason naming the file on any read, parse or field error.
bool readJsonInput(const std::string& name, lm::message& into, std::string& error);

}  // namespace lumoctl
