#pragma once
// The one owner of C handles. Every handle a C library gives out (a VipsImage*, a cairo_t*, a
// CURL*, a file descriptor) lives in a Handle, so no logic calls unref, destroy or close.
// The aliases for each library sit beside the few files that use that library.

#include <cstdio>
#include <cstdlib>
#include <utility>

#include <unistd.h>

namespace tessel::detail {

/// Owns one C handle of type `T` (a pointer, or an integer descriptor) and gives it to
/// `Release` once, unless it is `Empty`. Move-only.
template <class T, auto Release, T Empty = T{}>
class Handle {
public:
    Handle() = default;
    explicit Handle(T handle) noexcept : handle_(handle) {}
    Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, Empty)) {}
    Handle& operator=(Handle&& other) noexcept {
        if (this != &other) reset(std::exchange(other.handle_, Empty));
        return *this;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { reset(); }

    T get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != Empty; }

    /// Releases the handle held, if any, and holds `handle` instead.
    void reset(T handle = Empty) noexcept {
        if (handle_ != Empty) Release(handle_);
        handle_ = handle;
    }
    /// Gives the handle up without releasing it.
    [[nodiscard]] T release() noexcept { return std::exchange(handle_, Empty); }
    /// The slot a C function fills with a new handle; the handle held before is released.
    T* out() noexcept {
        reset();
        return &handle_;
    }

private:
    T handle_ = Empty;
};

inline void freeMemory(void* memory) noexcept { std::free(memory); }
inline void closeDescriptor(int descriptor) noexcept { ::close(descriptor); }
inline void closeStream(std::FILE* stream) noexcept { std::fclose(stream); }

/// Memory from malloc.
template <class T>
using MallocPointer = Handle<T*, freeMemory>;

/// An open file descriptor. Closing a written file reports write-back errors, so writers
/// close it themselves with `::close(file.release())` and check the result.
using FileDescriptor = Handle<int, closeDescriptor, -1>;

/// A stdio stream from fopen.
using StdioFile = Handle<std::FILE*, closeStream>;

}  // namespace tessel::detail
