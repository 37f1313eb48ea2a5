#pragma once
// libspng for the PNG encoder and decoder.

#include <spng.h>

#include "base/Handle.hpp"

namespace tessel::detail {

using SpngContext = Handle<spng_ctx*, spng_ctx_free>;

}  // namespace tessel::detail
