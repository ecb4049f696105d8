#include "VarnelSpeech/Inference/FileDigest.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <new>
#include <system_error>
#include <vector>

namespace VarnelSpeech {
namespace {

constexpr std::size_t blockSize = std::size_t{1} << 18U; // bytes

class File {
public:
    explicit File(const std::filesystem::path& path) : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (descriptor_ < 0)
            throw std::system_error(errno, std::generic_category());
    }

    ~File() { ::close(descriptor_); }

    File(const File&) = delete;
    File& operator=(const File&) = delete;

    // 0 at the end.
    std::size_t read(std::vector<unsigned char>& block) const {
        for (;;) {
            const ssize_t count = ::read(descriptor_, block.data(), block.size());
            if (count >= 0)
                return static_cast<std::size_t>(count);
            if (errno != EINTR)
                throw std::system_error(errno, std::generic_category());
        }
    }

private:
    int descriptor_;
};

} // namespace

FileDigest digestOfFile(const std::filesystem::path& path) {
    const File file(path);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1)
        throw std::bad_alloc();
    FileDigest digest;
    std::vector<unsigned char> block(blockSize);
    while (const std::size_t count = file.read(block)) {
        EVP_DigestUpdate(context.get(), block.data(), count);
        digest.size += count;
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> sum{};
    unsigned int length = 0;
    EVP_DigestFinal_ex(context.get(), sum.data(), &length);
    constexpr const char* digits = "0123456789abcdef";
    for (unsigned int index = 0; index < length; ++index) {
        digest.sha256 += digits[sum[index] >> 4U];
        digest.sha256 += digits[sum[index] & 15U];
    }
    return digest;
}

} // namespace VarnelSpeech
