// The bytes of an input, wherever they come from: a mapped file, a spool file, memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace samplefold::perfdata {

struct OpenOptions;

/// Owner of a read-only mapping (or a borrower of bytes in memory). Thread-safe after construction.
class InputBytes {
public:
    InputBytes() = default;
    InputBytes(const InputBytes&) = delete;
    InputBytes& operator=(const InputBytes&) = delete;
    InputBytes(InputBytes&& other) noexcept;
    InputBytes& operator=(InputBytes&& other) noexcept;
    ~InputBytes();

    /// Borrows bytes that outlive the object.
    [[nodiscard]] static InputBytes borrow(std::span<const std::byte> bytes) noexcept;
    /// Maps the first `size` bytes of an open file; the descriptor may be closed afterwards.
    /// Throws std::system_error when the system refuses.
    [[nodiscard]] static InputBytes map(int descriptor, std::uint64_t size);
    /// Opens what `path` names ("-": standard input), spooling what cannot be mapped. Throws
    /// ReadError.
    [[nodiscard]] static InputBytes open(const std::string& path, const OpenOptions& options);

    [[nodiscard]] std::span<const std::byte> bytes() const noexcept { return m_bytes; }

    /// Gives the pages that lie wholly in [begin, end) back to the system; they are read again when
    /// needed. Does nothing for borrowed bytes.
    void release(std::uint64_t begin, std::uint64_t end) const noexcept;

private:
    std::span<const std::byte> m_bytes;
    bool m_mapped = false;
};

/// An unlinked temporary file that is written front to back, then mapped. Not thread-safe.
class Spool {
public:
    /// `folder` empty: TMPDIR, else /tmp. Throws ReadError when no file can be made there;
    /// `inputName` names the input in that message and in those of write.
    Spool(const std::string& folder, std::string inputName);
    ~Spool();
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;

    /// Appends bytes. Throws ReadError when the disk is full or fails.
    void write(std::span<const std::byte> bytes);
    [[nodiscard]] std::uint64_t size() const noexcept { return m_size; }
    /// Writes out what is buffered and maps all that was written. Call it once, at the end.
    [[nodiscard]] InputBytes finish();

private:
    void flush();
    void writeThrough(std::span<const std::byte> bytes);

    std::string m_folder;
    std::string m_inputName;
    int m_descriptor = -1;
    std::unique_ptr<std::byte[]> m_buffer;
    std::size_t m_buffered = 0;
    std::uint64_t m_size = 0;
};

} // namespace samplefold::perfdata
