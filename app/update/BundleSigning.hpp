#pragma once
/// Signing a release bundle and checking its signature, with Ed25519 keys (libsodium).
///
/// A signed bundle holds, besides its own files, the folder `Contents/CodeSignature/` with
/// exactly two files:
///   Manifest   the list below, UTF-8 text, every line ending in one line feed
///   Signature  the 64-byte Ed25519 signature (raw bytes) of Manifest's exact bytes
///
/// Manifest:
///   Tessel bundle manifest 1
///   team {team identifier of the signing key}
///   {kind} {SHA-256, 64 lower-case hex digits} {path}
///   …
/// One entry line for every file of the bundle outside `Contents/CodeSignature/`, sorted by
/// path in byte order, no path twice. {path} is relative to the bundle folder, components
/// joined by "/", none of them empty, "." or "..", no byte below 0x20 nor 0x7F. {kind} is:
///   file  a regular file without any execute bit; the hash is of its contents
///   exec  a regular file with an execute bit (owner, group or other); hash of its contents
///   link  a symbolic link; the hash is of its target text. The target must be relative and
///         free of ".." components, so that it points into its own folder and no chain of
///         links leads out of the bundle.
/// Folders are not listed: an empty folder is neither signed nor checked. Any other kind of
/// file (a device, a pipe, a socket) cannot be signed and fails verification. Owners, other
/// permission bits and times are not signed. The bundle folder, `Contents` and
/// `Contents/CodeSignature` must be real folders, not links.
///
/// A bundle verifies under a key when Signature verifies Manifest under that key, Manifest's
/// team line names that key's team identifier, and Manifest is exactly the list the bundle's
/// present contents give: no file changed, missing or unlisted, no kind changed.
///
/// Key files are hexadecimal text with one final line feed: a public key is 32 bytes (64 hex
/// digits), a secret key libsodium's 64 bytes (seed and public key, 128 hex digits).

#include <array>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace tessel::BundleSigning {

/// An Ed25519 public key.
using PublicKey = std::array<unsigned char, 32>;
/// An Ed25519 secret key in libsodium's form: the 32-byte seed followed by the public key.
using SecretKey = std::array<unsigned char, 64>;

/// A bundle that cannot be signed or does not verify; `what()` names the file and the problem.
class SignatureError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The maker's public key, compiled in from the key file named by the CMake cache variable
/// TESSEL_RELEASE_PUBLIC_KEY_FILE.
const PublicKey& makerPublicKey();

/// The 10-character team identifier of `key`: the first ten characters of the RFC 4648
/// base32 form (A–Z, 2–7) of the SHA-256 of the key's 32 bytes.
std::string teamIdentifier(const PublicKey& key);

/// The Manifest text that `bundle`'s present contents give for `key`'s team. Throws
/// `SignatureError` for a file that cannot be signed (special file, link pointing out,
/// unusable name, a link in place of a required folder) and `std::filesystem::filesystem_error`
/// when a file cannot be read.
std::string manifest(const std::filesystem::path& bundle, const PublicKey& key);

/// Replaces `bundle`'s `Contents/CodeSignature/` with a Manifest and its Signature by `secret`.
/// Throws like `manifest`.
void sign(const std::filesystem::path& bundle, const SecretKey& secret);

/// Checks `bundle`'s signature under `key` as described above. Throws `SignatureError` naming
/// the first problem found.
void verify(const std::filesystem::path& bundle, const PublicKey& key);

/// A fresh key pair from libsodium's random source.
struct KeyPair {
    PublicKey publicKey;
    SecretKey secretKey;
};
KeyPair generateKeyPair();

/// The public half of a secret key.
PublicKey publicKeyOf(const SecretKey& secret);

/// Key files: hexadecimal text with one final line feed. Reading throws `SignatureError` for a
/// file that is not exactly such text, `std::filesystem::filesystem_error` when unreadable.
std::string toHex(const unsigned char* bytes, std::size_t count);
PublicKey readPublicKey(const std::filesystem::path& file);
SecretKey readSecretKey(const std::filesystem::path& file);
PublicKey parsePublicKey(const std::string& hex);

}  // namespace tessel::BundleSigning
