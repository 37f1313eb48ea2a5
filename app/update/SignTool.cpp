// tessel-sign: makes the maker's key pair, signs release bundles and checks them.
//   tessel-sign keygen FOLDER             writes tessel-release.secret (0600) and .pub
//   tessel-sign sign BUNDLE SECRETKEY     writes BUNDLE/Contents/CodeSignature/
//   tessel-sign verify BUNDLE [--public-key FILE]   checks (default: the compiled-in key)
//   tessel-sign team [PUBLICKEY]          prints a key's team identifier
// Every failure: its description on standard error and exit status 1.

#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <sodium.h>

#include "update/BundleSigning.hpp"
#include "update/Posix.hpp"

namespace {

namespace fs = std::filesystem;
namespace signing = tessel::BundleSigning;

// A key file that never replaces an existing one; the secret one readable by its owner only.
void writeKeyFile(const fs::path& file, const std::string& hex, mode_t mode) {
    tessel::posix::FileDescriptor fd(
        ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!fd) tessel::posix::throwFileError("Could not create the key file", file);
    if (!tessel::posix::writeAll(fd.get(), hex + "\n") || ::fsync(fd.get()) != 0 || !fd.close()) {
        tessel::posix::throwFileError("Could not write the key file", file);
    }
}

void keygen(const fs::path& folder) {
    fs::create_directories(folder);
    auto pair = signing::generateKeyPair();
    std::string secretHex = signing::toHex(pair.secretKey.data(), pair.secretKey.size());
    writeKeyFile(folder / "tessel-release.secret", secretHex, 0600);
    sodium_memzero(secretHex.data(), secretHex.size());
    sodium_memzero(pair.secretKey.data(), pair.secretKey.size());
    writeKeyFile(folder / "tessel-release.pub",
                 signing::toHex(pair.publicKey.data(), pair.publicKey.size()), 0644);
    std::cout << "team " << signing::teamIdentifier(pair.publicKey) << "\n"
              << (folder / "tessel-release.secret").string() << "\n"
              << (folder / "tessel-release.pub").string() << "\n";
}

void sign(const fs::path& bundle, const fs::path& secretFile) {
    auto secret = signing::readSecretKey(secretFile);
    signing::sign(bundle, secret);
    const auto team = signing::teamIdentifier(signing::publicKeyOf(secret));
    sodium_memzero(secret.data(), secret.size());
    std::cout << bundle.string() << ": signed by team " << team << "\n";
}

signing::PublicKey keyOrMaker(const std::string& file) {
    return file.empty() ? signing::makerPublicKey() : signing::readPublicKey(file);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Makes release keys, signs Tessel.app bundles and checks their signatures."};
    app.require_subcommand(1);

    std::string folder;
    auto* keygenCommand = app.add_subcommand("keygen", "Make a new key pair in FOLDER");
    keygenCommand->add_option("FOLDER", folder, "Where the key files go")->required();

    std::string bundle;
    std::string secret;
    auto* signCommand = app.add_subcommand("sign", "Sign BUNDLE with the secret key file");
    signCommand->add_option("BUNDLE", bundle, "The Tessel.app folder")->required();
    signCommand->add_option("SECRETKEY", secret, "The secret key file")->required();

    std::string publicKey;
    auto* verifyCommand = app.add_subcommand("verify", "Check BUNDLE's signature");
    verifyCommand->add_option("BUNDLE", bundle, "The Tessel.app folder")->required();
    verifyCommand->add_option("--public-key", publicKey,
                              "Public key file (default: the key compiled in)");

    auto* teamCommand = app.add_subcommand("team", "Print the team identifier of a public key");
    teamCommand->add_option("PUBLICKEY", publicKey,
                            "Public key file (default: the key compiled in)");

    CLI11_PARSE(app, argc, argv);
    try {
        if (*keygenCommand) keygen(folder);
        if (*signCommand) sign(bundle, secret);
        if (*verifyCommand) {
            const auto key = keyOrMaker(publicKey);
            signing::verify(bundle, key);
            std::cout << bundle << ": signed by team " << signing::teamIdentifier(key) << "\n";
        }
        if (*teamCommand) std::cout << signing::teamIdentifier(keyOrMaker(publicKey)) << "\n";
    } catch (const std::exception& error) {
        std::cerr << "tessel-sign: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
