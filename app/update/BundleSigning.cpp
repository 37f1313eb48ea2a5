#include "update/BundleSigning.hpp"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>

#include "update/Posix.hpp"

namespace tessel::BundleSigning {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view manifestHeader = "Tessel bundle manifest 1\n";
constexpr std::string_view signatureFolder = "Contents/CodeSignature";
// A manifest lists a few hundred files at most; a much larger one is not ours.
constexpr std::size_t maxManifestBytes = 16u << 20;

void ensureSodium() {
    if (sodium_init() < 0) throw SignatureError("libsodium could not start");
}

std::string sha256Hex(std::string_view bytes) {
    unsigned char digest[crypto_hash_sha256_BYTES];
    crypto_hash_sha256(digest, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    return toHex(digest, sizeof digest);
}

std::string sha256OfFile(const fs::path& file) {
    posix::FileDescriptor fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!fd) posix::throwFileError("Could not read", file);
    crypto_hash_sha256_state state;
    crypto_hash_sha256_init(&state);
    std::vector<unsigned char> buffer(1u << 16);
    while (true) {
        const ssize_t got = ::read(fd.get(), buffer.data(), buffer.size());
        if (got < 0) {
            if (errno == EINTR) continue;
            posix::throwFileError("Could not read", file);
        }
        if (got == 0) break;
        crypto_hash_sha256_update(&state, buffer.data(), static_cast<std::size_t>(got));
    }
    unsigned char digest[crypto_hash_sha256_BYTES];
    crypto_hash_sha256_final(&state, digest);
    return toHex(digest, sizeof digest);
}

// A regular file (never through a link) of at most `maxBytes`.
std::string readRegularFile(const fs::path& file, std::size_t maxBytes) {
    posix::FileDescriptor fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    struct stat info {};
    if (!fd || ::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
        throw SignatureError(file.string() + " is missing or not a regular file");
    }
    if (static_cast<std::uintmax_t>(info.st_size) > maxBytes) {
        throw SignatureError(file.string() + " is too large");
    }
    std::string bytes(static_cast<std::size_t>(info.st_size), '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t got = ::read(fd.get(), bytes.data() + done, bytes.size() - done);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) throw SignatureError("Could not read " + file.string());
        done += static_cast<std::size_t>(got);
    }
    return bytes;
}

void requireFolder(const fs::path& folder) {
    if (!fs::is_directory(fs::symlink_status(folder))) {
        throw SignatureError(folder.string() + " is not a folder");
    }
}

bool hasControlByte(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7F;
    });
}

// Whether a "/"-separated relative path has an empty, "." or ".." component.
bool hasUnsafeComponent(std::string_view path, bool allowDot) {
    std::size_t start = 0;
    while (true) {
        const std::size_t slash = path.find('/', start);
        const std::string_view part = path.substr(start, slash - start);
        if (part.empty() || part == ".." || (part == "." && !allowDot)) return true;
        if (slash == std::string_view::npos) return false;
        start = slash + 1;
    }
}

void checkName(const std::string& path) {
    if (path.empty() || path.front() == '/' || hasControlByte(path) ||
        hasUnsafeComponent(path, false)) {
        throw SignatureError("\"" + path + "\" cannot be signed: unusable name");
    }
}

void checkLinkTarget(const std::string& path, const std::string& target) {
    if (target.empty() || target.front() == '/' || hasControlByte(target) ||
        hasUnsafeComponent(target, true)) {
        throw SignatureError(path + " is a link that may point out of its folder (" + target + ")");
    }
}

// One "{kind} {hash} {path}" line per file, in byte order of paths.
std::vector<std::pair<std::string, std::string>> entries(const fs::path& bundle) {
    requireFolder(bundle);
    requireFolder(bundle / "Contents");
    std::vector<std::pair<std::string, std::string>> lines;
    for (auto it = fs::recursive_directory_iterator(bundle);
         it != fs::recursive_directory_iterator(); ++it) {
        const std::string path = it->path().lexically_relative(bundle).generic_string();
        const fs::file_status status = it->symlink_status();
        if (path == signatureFolder) {
            requireFolder(it->path());
            it.disable_recursion_pending();
            continue;
        }
        if (fs::is_directory(status)) continue;
        checkName(path);
        std::string kind;
        std::string hash;
        if (fs::is_symlink(status)) {
            const std::string target = fs::read_symlink(it->path()).string();
            checkLinkTarget(path, target);
            kind = "link";
            hash = sha256Hex(target);
        } else if (fs::is_regular_file(status)) {
            constexpr auto anyExecute =
                fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec;
            kind = (status.permissions() & anyExecute) != fs::perms::none ? "exec" : "file";
            hash = sha256OfFile(it->path());
        } else {
            throw SignatureError(path + " is neither a file, a folder nor a link");
        }
        std::string line = kind;
        line.append(" ").append(hash).append(" ").append(path).append("\n");
        lines.emplace_back(path, std::move(line));
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

// The path of each entry line of a manifest, with the line.
std::map<std::string, std::string> linesByPath(std::string_view text) {
    std::map<std::string, std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string_view line = text.substr(start, end - start);
        const std::size_t hashEnd = line.find(' ', line.find(' ') + 1);
        if (line.find(' ') != std::string_view::npos && hashEnd != std::string_view::npos) {
            lines.emplace(line.substr(hashEnd + 1), line);
        }
        start = end + 1;
    }
    return lines;
}

// The first path, in byte order, where the signed list and the bundle's contents disagree.
std::string firstDifference(const std::string& signedText, const std::string& actualText) {
    const auto expected = linesByPath(signedText);
    const auto actual = linesByPath(actualText);
    auto e = expected.begin();
    auto a = actual.begin();
    while (e != expected.end() || a != actual.end()) {
        if (a == actual.end() || (e != expected.end() && e->first < a->first)) {
            return e->first + " is missing";
        }
        if (e == expected.end() || a->first < e->first) return a->first + " is not signed";
        if (e->second != a->second) {
            return e->second.substr(0, 4) != a->second.substr(0, 4)
                       ? e->first + " changed kind (" + e->second.substr(0, 4) + " to " +
                             a->second.substr(0, 4) + ")"
                       : e->first + " changed";
        }
        ++e;
        ++a;
    }
    return "the manifest is not in its exact form";
}

}  // namespace

std::string toHex(const unsigned char* bytes, std::size_t count) {
    std::string hex(count * 2 + 1, '\0');
    sodium_bin2hex(hex.data(), hex.size(), bytes, count);
    hex.pop_back();
    return hex;
}

const PublicKey& makerPublicKey() {
    static const PublicKey key = parsePublicKey(TESSEL_RELEASE_PUBLIC_KEY);
    return key;
}

std::string teamIdentifier(const PublicKey& key) {
    unsigned char digest[crypto_hash_sha256_BYTES];
    crypto_hash_sha256(digest, key.data(), key.size());
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
    // Ten base32 characters take the first 50 bits of the digest, five at a time.
    std::string team;
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < 7; ++i) bits = (bits << 8) | digest[i];
    for (int shift = 56 - 5; team.size() < 10; shift -= 5) {
        team += alphabet[static_cast<std::size_t>((bits >> shift) & 31u)];
    }
    return team;
}

std::string manifest(const fs::path& bundle, const PublicKey& key) {
    ensureSodium();
    std::string text(manifestHeader);
    text += "team " + teamIdentifier(key) + "\n";
    for (const auto& entry : entries(bundle)) text += entry.second;
    return text;
}

void sign(const fs::path& bundle, const SecretKey& secret) {
    ensureSodium();
    requireFolder(bundle / "Contents");
    const fs::path folder = bundle / signatureFolder;
    fs::remove_all(folder);
    const std::string text = manifest(bundle, publicKeyOf(secret));
    unsigned char signature[crypto_sign_BYTES];
    crypto_sign_detached(signature, nullptr, reinterpret_cast<const unsigned char*>(text.data()),
                         text.size(), secret.data());
    fs::create_directory(folder);
    const auto write = [](const fs::path& file, std::string_view bytes) {
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.close();
        if (!out) posix::throwFileError("Could not write", file, EIO);
    };
    write(folder / "Manifest", text);
    write(folder / "Signature",
          std::string_view(reinterpret_cast<const char*>(signature), sizeof signature));
}

void verify(const fs::path& bundle, const PublicKey& key) {
    ensureSodium();
    requireFolder(bundle);
    requireFolder(bundle / "Contents");
    const fs::path folder = bundle / signatureFolder;
    requireFolder(folder);
    for (const auto& item : fs::directory_iterator(folder)) {
        const auto name = item.path().filename();
        if (name != "Manifest" && name != "Signature") {
            throw SignatureError(std::string(signatureFolder) + "/" + name.string() +
                                 " is not signed");
        }
    }
    const std::string signature = readRegularFile(folder / "Signature", crypto_sign_BYTES);
    const std::string text = readRegularFile(folder / "Manifest", maxManifestBytes);
    if (signature.size() != crypto_sign_BYTES ||
        crypto_sign_verify_detached(reinterpret_cast<const unsigned char*>(signature.data()),
                                    reinterpret_cast<const unsigned char*>(text.data()),
                                    text.size(), key.data()) != 0) {
        throw SignatureError("the signature does not verify under the key of team " +
                             teamIdentifier(key));
    }
    const std::string team = "team " + teamIdentifier(key) + "\n";
    if (text.compare(0, manifestHeader.size(), manifestHeader) != 0 ||
        text.compare(manifestHeader.size(), team.size(), team) != 0) {
        throw SignatureError("the manifest does not name team " + teamIdentifier(key));
    }
    std::string actual;
    try {
        actual = manifest(bundle, key);
    } catch (const fs::filesystem_error& error) {
        throw SignatureError(error.what());
    }
    if (actual != text) throw SignatureError(firstDifference(text, actual));
}

KeyPair generateKeyPair() {
    ensureSodium();
    KeyPair pair{};
    crypto_sign_keypair(pair.publicKey.data(), pair.secretKey.data());
    return pair;
}

PublicKey publicKeyOf(const SecretKey& secret) {
    PublicKey key{};
    crypto_sign_ed25519_sk_to_pk(key.data(), secret.data());
    return key;
}

namespace {

template <std::size_t N>
std::array<unsigned char, N> fromHex(std::string_view hex, const std::string& what) {
    std::array<unsigned char, N> bytes{};
    std::size_t length = 0;
    const char* end = nullptr;
    if (hex.size() != 2 * N ||
        sodium_hex2bin(bytes.data(), N, hex.data(), hex.size(), nullptr, &length, &end) != 0 ||
        length != N || end != hex.data() + hex.size()) {
        throw SignatureError(what + " is not " + std::to_string(N) + " bytes in hexadecimal");
    }
    return bytes;
}

std::string keyFileText(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) posix::throwFileError("Could not read the key file", file);
    std::string text(1024, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (text.ends_with('\n')) text.pop_back();
    return text;
}

}  // namespace

PublicKey parsePublicKey(const std::string& hex) {
    return fromHex<crypto_sign_PUBLICKEYBYTES>(hex, "the public key");
}

PublicKey readPublicKey(const fs::path& file) {
    return fromHex<crypto_sign_PUBLICKEYBYTES>(keyFileText(file), file.string());
}

SecretKey readSecretKey(const fs::path& file) {
    const auto secret = fromHex<crypto_sign_SECRETKEYBYTES>(keyFileText(file), file.string());
    // The second half of libsodium's secret key is its public key; a mangled file shows here.
    unsigned char seedPublic[crypto_sign_PUBLICKEYBYTES];
    unsigned char seedSecret[crypto_sign_SECRETKEYBYTES];
    ensureSodium();
    crypto_sign_seed_keypair(seedPublic, seedSecret, secret.data());
    sodium_memzero(seedSecret, sizeof seedSecret);
    if (!std::equal(std::begin(seedPublic), std::end(seedPublic), secret.begin() + 32)) {
        throw SignatureError(file.string() + " is not an Ed25519 secret key");
    }
    return secret;
}

}  // namespace tessel::BundleSigning
