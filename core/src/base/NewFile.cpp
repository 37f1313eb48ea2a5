#include <memory>

#include "tessel/Files.hpp"

#include "base/AtomicFile.hpp"

namespace tessel {

NewFile::NewFile(const std::filesystem::path& destination)
    : file_(std::make_unique<detail::AtomicFile>(destination,
                                                 detail::AtomicFile::Publishing::newFile)) {}

NewFile::NewFile(NewFile&&) noexcept = default;
NewFile& NewFile::operator=(NewFile&&) noexcept = default;
NewFile::~NewFile() = default;

void NewFile::write(std::span<const std::uint8_t> bytes) { file_->write(bytes); }

void NewFile::publish() { file_->publish(); }

}  // namespace tessel
