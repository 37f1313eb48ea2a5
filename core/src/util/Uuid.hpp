#pragma once
#include <string>

namespace tessel::detail {

/// A fresh random UUID in its 36-character upper-case text form.
std::string newUUIDString();

}  // namespace tessel::detail
