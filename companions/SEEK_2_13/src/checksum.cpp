#include "hex_text.h"
#include "regular_file.h"

#include <SEEK_2_13/checksum.h>

#include <openssl/evp.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>

namespace SEEK_2_13 {
namespace {

class Checksum : public IChecksum {
public:
    explicit Checksum(std::string text) : m_text(std::move(text)) {}

    const char* getText() const noexcept override { return m_text.c_str(); }
    bool equals(const IChecksum& other) const noexcept override
    {
        return m_text == std::string_view(other.getText());
    }

private:
    std::string m_text;
};

ObjectPtr<IChecksum> checksumOf(std::string text)
{
    return new tb2::ref_counted_t<Checksum>(std::move(text));
}

struct digest_deleter_t {
    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};

/// A running MD5. After a failure, `finish` gives an empty text.
class Digest {
public:
    Digest() : m_context(EVP_MD_CTX_new())
    {
        m_good = m_context && EVP_DigestInit_ex(m_context.get(), EVP_md5(), nullptr) == 1;
    }
    bool isGood() const noexcept { return m_good; }
    void add(std::span<const std::byte> bytes)
    {
        m_good = m_good && EVP_DigestUpdate(m_context.get(), bytes.data(), bytes.size()) == 1;
    }
    std::string finish()
    {
        std::array<unsigned char, EVP_MAX_MD_SIZE> value{};
        unsigned size = 0;
        m_good = m_good && EVP_DigestFinal_ex(m_context.get(), value.data(), &size) == 1;
        return m_good ? hexOf(std::as_bytes(std::span(value).first(size))) : std::string();
    }

private:
    std::unique_ptr<EVP_MD_CTX, digest_deleter_t> m_context;
    bool m_good = false;
};

class ChecksumCalculator : public IChecksumCalculator {
public:
    ObjectPtr<IChecksum> calculateChecksum(const char* path) const override;
    ObjectPtr<IChecksum> parseChecksum(std::uint32_t kind, const char* text) const override;
};

ObjectPtr<IChecksum> ChecksumCalculator::calculateChecksum(const char* path) const
{
    RegularFile file;
    std::string detail;
    if (path == nullptr || file.open(path, detail) != refusal_t::none) return {};
    Digest digest;
    const auto add = [&digest](std::span<const std::byte> bytes) { digest.add(bytes); };
    if (!digest.isGood() || !file.readAll(add, detail)) return {};
    std::string text = digest.finish();
    return text.empty() ? ObjectPtr<IChecksum>() : checksumOf(std::move(text));
}

ObjectPtr<IChecksum> ChecksumCalculator::parseChecksum(std::uint32_t kind, const char* text) const
{
    if (kind != checksum_kind::md5 || text == nullptr || *text == '\0') return {};
    // What is no checksum stays as it is: it equals none, where null would let every file pass.
    return checksumOf(lowerHex(text).value_or(text));
}

} // namespace

ObjectPtr<IChecksumCalculator> IChecksumCalculator::create()
{
    if (!Digest().isGood()) return {};
    return new tb2::ref_counted_t<ChecksumCalculator>();
}

} // namespace SEEK_2_13
