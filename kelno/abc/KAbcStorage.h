// Internal: the bytes of an archive, read by offset from an open file or from a buffer.
//
// A storage remembers the size its source had when it was opened and never serves a byte
// outside it. Reads are positioned (pread on POSIX, ReadFile with an offset on Windows): no
// shared file cursor and no locks, so any number of threads may read one storage at once.
//
// When the file changes underneath (another process truncates it, rewrites it in place, or
// appends to it), nothing is mapped, so no signal can arise: a read of bytes that are no longer
// there fails (short reads count as failures), and a read of bytes that were rewritten returns
// the new bytes, which the caller validates like any other data it reads from the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Kelno {
namespace Abc {

class Storage {
  public:
    virtual ~Storage();
    // Size in bytes at open; every offset in the archive is checked against it.
    std::uint64_t size() const { return m_size; }
    // Copies exactly size bytes starting at offset into destination. False when the range is
    // not inside size() or the source cannot deliver all of it (an I/O error, or a file that
    // has become shorter since open); destination may then be partly written.
    virtual bool read(std::uint64_t offset, void* destination, std::size_t size) const = 0;

  protected:
    bool _inRange(std::uint64_t offset, std::size_t size) const {
        return offset <= m_size && size <= m_size - offset;
    }
    std::uint64_t m_size = 0;
};

// Opens the file for positioned reads. Null with a one-line reason (no path) on failure.
std::shared_ptr<Storage> openFileStorage(const std::string& path, std::string& error);

// Copies size bytes into an owned buffer.
std::shared_ptr<Storage> copyToStorage(const void* data, std::size_t size);

} // namespace Abc
} // namespace Kelno
