// The one walk over a JPEG's markers, and the two readings built on it: inspection's check
// that a file runs to its end and the PDF writer's look at an encoded page's frame header.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "base/Handle.hpp"
#include "formats/jpeg/Jpeg.hpp"

namespace tessel::detail {
namespace {

constexpr std::uint8_t kStartOfScan = 0xDA;
constexpr std::uint8_t kEndOfImage = 0xD9;

bool isRestartOrStuffing(std::uint8_t marker) {
    return marker == 0x00 || (marker >= 0xD0 && marker <= 0xD7);
}

bool isHuffmanFrame(std::uint8_t marker) {
    return marker == 0xC0 || marker == 0xC1 || marker == 0xC2;
}

bool isOtherFrame(std::uint8_t marker) {
    return marker >= 0xC3 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// Bytes taken front to back, either from memory or from a file through a small window, so
// that walking a large file never holds it whole.
class ForwardReader {
public:
    explicit ForwardReader(std::span<const std::uint8_t> bytes)
        : at_(bytes.data()), end_(bytes.data() + bytes.size()) {}
    explicit ForwardReader(int descriptor) : descriptor_(descriptor), window_(kWindow) {}

    std::optional<std::uint8_t> next() {
        if (at_ == end_ && !refill()) return std::nullopt;
        return *at_++;
    }

    /// Passes over `count` bytes; false when the content ends first.
    bool skip(std::size_t count) {
        while (count > static_cast<std::size_t>(end_ - at_)) {
            count -= static_cast<std::size_t>(end_ - at_);
            at_ = end_;
            if (!refill()) return false;
        }
        at_ += count;
        return true;
    }

    /// Moves to the next byte equal to `value` without taking it; false when there is none.
    bool seek(std::uint8_t value) {
        for (;;) {
            if (const void* found = std::memchr(at_, value, static_cast<std::size_t>(end_ - at_))) {
                at_ = static_cast<const std::uint8_t*>(found);
                return true;
            }
            at_ = end_;
            if (!refill()) return false;
        }
    }

private:
    static constexpr std::size_t kWindow = std::size_t{256} * 1024;

    bool refill() {
        if (descriptor_ < 0) return false;
        for (;;) {
            const ssize_t got = ::read(descriptor_, window_.data(), window_.size());
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) return false;
            at_ = window_.data();
            end_ = at_ + got;
            return true;
        }
    }

    int descriptor_ = -1;
    std::vector<std::uint8_t> window_;
    const std::uint8_t* at_ = nullptr;
    const std::uint8_t* end_ = nullptr;
};

enum class WalkEnd { endOfImage, stopped, broken };

/// Walks the markers from SOI to the first EOI (later images of a multi-picture file are not
/// walked). Every segment with a length (all but SOI, EOI, RSTn and TEM) is shown to
/// visit(marker, head), `head` being the first bytes of its payload (up to 32), and then
/// passed over; after SOS the entropy-coded data is passed over too. visit returns false to
/// stop. Stray bytes before a marker are skipped, as libjpeg does (it only warns).
template <class Visit>
WalkEnd walkMarkers(ForwardReader& in, Visit visit) {
    if (in.next() != std::optional<std::uint8_t>{0xFF} ||
        in.next() != std::optional<std::uint8_t>{0xD8})
        return WalkEnd::broken;
    int pending = -1;  // a marker found at the end of a scan
    for (;;) {
        std::uint8_t marker = 0;
        if (pending >= 0) {
            marker = static_cast<std::uint8_t>(std::exchange(pending, -1));
        } else {
            if (!in.seek(0xFF)) return WalkEnd::broken;
            do {
                const auto byte = in.next();
                if (!byte) return WalkEnd::broken;
                marker = *byte;
            } while (marker == 0xFF);
        }
        if (marker == kEndOfImage) return WalkEnd::endOfImage;
        if (isRestartOrStuffing(marker) || marker == 0x01) continue;
        const auto high = in.next();
        const auto low = in.next();
        if (!high || !low) return WalkEnd::broken;
        const std::size_t length = std::size_t{*high} << 8 | std::size_t{*low};
        if (length < 2) return WalkEnd::broken;
        std::array<std::uint8_t, 32> head{};
        const std::size_t headSize = std::min(length - 2, head.size());
        for (std::size_t i = 0; i < headSize; ++i) {
            const auto byte = in.next();
            if (!byte) return WalkEnd::broken;
            head[i] = *byte;
        }
        if (!in.skip(length - 2 - headSize)) return WalkEnd::broken;
        if (!visit(marker, std::span<const std::uint8_t>(head.data(), headSize)))
            return WalkEnd::stopped;
        if (marker != kStartOfScan) continue;
        // Entropy-coded data runs to the first marker that is neither stuffing nor a restart.
        while (pending < 0) {
            if (!in.seek(0xFF)) return WalkEnd::broken;
            std::uint8_t byte = 0xFF;
            while (byte == 0xFF) {
                const auto read = in.next();
                if (!read) return WalkEnd::broken;
                byte = *read;
            }
            if (!isRestartOrStuffing(byte)) pending = byte;
        }
    }
}

}  // namespace

namespace {

/// True when the file's last two bytes are an end-of-image marker.
bool endsWithEndOfImage(int descriptor) {
    const off_t size = ::lseek(descriptor, 0, SEEK_END);
    std::array<std::uint8_t, 2> last{};
    return size >= 4 && ::pread(descriptor, last.data(), last.size(), size - 2) == 2 &&
           last[0] == 0xFF && last[1] == kEndOfImage;
}

}  // namespace

std::optional<ContainerFacts> walkJpeg(const std::filesystem::path& file) {
    const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor) return std::nullopt;
    {
        // Most photographs are sequential and end with their image: when the headers of a
        // sequential frame lead to its scan and the file's last bytes are the end-of-image
        // marker, the entropy-coded data between need not be read (it never holds that
        // marker: an FF there is followed by 00 or a restart number). Progressive files,
        // whose scans are separated by segments, and anything else are walked.
        ForwardReader headers(descriptor.get());
        bool sequential = false;
        const WalkEnd end =
            walkMarkers(headers, [&](std::uint8_t marker, std::span<const std::uint8_t>) {
                sequential = sequential || marker == 0xC0 || marker == 0xC1;
                return marker != kStartOfScan;
            });
        if (end == WalkEnd::stopped && sequential && endsWithEndOfImage(descriptor.get()))
            return ContainerFacts{};
        if (::lseek(descriptor.get(), 0, SEEK_SET) != 0) return std::nullopt;
    }
    ForwardReader in(descriptor.get());
    bool sawScan = false;
    const WalkEnd end = walkMarkers(in, [&](std::uint8_t marker, std::span<const std::uint8_t>) {
        sawScan = sawScan || marker == kStartOfScan;
        return true;
    });
    if (end != WalkEnd::endOfImage || !sawScan) return std::nullopt;
    return ContainerFacts{};
}

std::optional<std::uint64_t> progressiveCoefficientBytes(std::span<const std::uint8_t> frame) {
    if (frame.size() < 6) return std::nullopt;
    const std::uint64_t height = std::uint64_t{frame[1]} << 8 | frame[2];
    const std::uint64_t width = std::uint64_t{frame[3]} << 8 | frame[4];
    const std::size_t count = frame[5];
    const auto blocks = [](std::uint64_t samples) { return (samples + 7) / 8; };
    if (frame.size() < 6 + 3 * count) {
        // Sampling factors beyond the bytes at hand: every component counted at full size.
        return blocks(width) * blocks(height) * count * kCoefficientBlockBytes;
    }
    std::uint64_t hMax = 1, vMax = 1;
    for (std::size_t i = 0; i < count; ++i) {
        hMax = std::max<std::uint64_t>(hMax, frame[7 + 3 * i] >> 4);
        vMax = std::max<std::uint64_t>(vMax, frame[7 + 3 * i] & 0x0F);
    }
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t h = std::max<std::uint64_t>(1, frame[7 + 3 * i] >> 4);
        const std::uint64_t v = std::max<std::uint64_t>(1, frame[7 + 3 * i] & 0x0F);
        // libjpeg pads each component's blocks to whole MCUs.
        const std::uint64_t across = (blocks((width * h + hMax - 1) / hMax) + h - 1) / h * h;
        const std::uint64_t down = (blocks((height * v + vMax - 1) / vMax) + v - 1) / v * v;
        total += across * down * kCoefficientBlockBytes;
    }
    return total;
}

namespace {

std::optional<JpegDecodingCost> decodingCostOf(ForwardReader& in) {
    std::optional<JpegDecodingCost> frame;
    std::optional<std::uint64_t> coefficients;
    bool progressive = false;
    std::size_t components = 0;
    bool reachedScan = false;
    walkMarkers(in, [&](std::uint8_t marker, std::span<const std::uint8_t> head) {
        if (marker == kStartOfScan) {
            reachedScan = !head.empty();
            // libjpeg keeps every coefficient of a frame that takes several scans (progressive,
            // or sequential with its components in separate scans); others go a few rows at
            // a time.
            if (frame && reachedScan && (progressive || head[0] < components)) {
                if (!coefficients)
                    frame.reset();
                else
                    frame->bytes = *coefficients;
            }
            return false;
        }
        if (!isHuffmanFrame(marker) && !isOtherFrame(marker)) return true;
        if (head.size() < 6) return false;
        progressive = marker == 0xC2 || marker == 0xC6 || marker == 0xCA || marker == 0xCE;
        components = head[5];
        coefficients = progressiveCoefficientBytes(head);
        frame = JpegDecodingCost{std::int64_t{head[3]} << 8 | head[4],
                                 std::int64_t{head[1]} << 8 | head[2], 0};
        return true;
    });
    if (!reachedScan) return std::nullopt;
    return frame;
}

}  // namespace

std::optional<JpegDecodingCost> jpegDecodingCost(const std::filesystem::path& file) {
    const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor) return std::nullopt;
    ForwardReader in(descriptor.get());
    return decodingCostOf(in);
}

std::optional<JpegDecodingCost> jpegDecodingCost(std::span<const std::uint8_t> jpeg) {
    ForwardReader in(jpeg);
    return decodingCostOf(in);
}

std::optional<JpegFrame> readJPEGFrame(std::span<const std::uint8_t> jpeg) {
    ForwardReader in(jpeg);
    std::optional<JpegFrame> frame;
    walkMarkers(in, [&](std::uint8_t marker, std::span<const std::uint8_t> head) {
        // A scan or another coding before a Huffman frame header: nothing to embed.
        if (marker == kStartOfScan || isOtherFrame(marker)) return false;
        if (!isHuffmanFrame(marker)) return true;
        if (head.size() >= 6 && head[0] == 8) {  // 8-bit samples
            const JpegFrame found{std::int64_t{head[3]} << 8 | head[4],
                                  std::int64_t{head[1]} << 8 | head[2], head[5]};
            if (found.width >= 1 && found.height >= 1) frame = found;
        }
        return false;
    });
    return frame;
}

}  // namespace tessel::detail
