// tessel_bench_make_dng: a DNG made from a JPEG photograph, with a JPEG preview of a chosen
// size (bench/make-raw-corpus.sh).
//   tessel_bench_make_dng IN.jpg OUT.dng PREVIEW_LONGER [ORIENTATION]
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "DngWriter.hpp"

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: %s IN.jpg OUT.dng PREVIEW_LONGER [ORIENTATION]\n", argv[0]);
        return 2;
    }
    try {
        const tessel::testing::RgbPicture picture = tessel::testing::decodeJpegFile(argv[1]);
        tessel::testing::DngOptions options;
        options.previewLonger = std::atoi(argv[3]);
        if (argc > 4) options.orientation = std::atoi(argv[4]);
        // Eight-bit sensor samples keep a 24-megapixel file at the size of a real one.
        options.bitsPerSample = 8;
        tessel::testing::writeDng(argv[2], picture, options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
