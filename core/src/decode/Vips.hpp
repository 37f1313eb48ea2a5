#pragma once
// libvips for the files that talk to it: owners of its objects and buffers.

#include <vips/vips.h>

#include "base/Handle.hpp"
#include "decode/Reduce.hpp"

namespace tessel::detail {

using VipsImageRef = Handle<VipsImage*, g_object_unref>;
using VipsSourceRef = Handle<VipsSource*, g_object_unref>;
/// Memory from g_malloc.
using GlibMemory = Handle<void*, g_free>;

/// The libvips kernel of a reduction filter.
VipsKernel vipsKernel(ReduceFilter filter);

}  // namespace tessel::detail
