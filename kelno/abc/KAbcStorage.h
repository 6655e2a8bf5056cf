// Internal: the bytes of an archive file, either memory-mapped read-only or held in a buffer.
//
// The mapping is made once at open and never changes, so any number of threads may read it at
// once without locks. Caveat of mapping: if another process truncates the file while it is
// open, touching the lost pages raises SIGBUS; caches are written once and then only read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Kelno {
namespace Abc {

class Storage {
  public:
    virtual ~Storage();
    const unsigned char* data() const { return m_data; }
    std::uint64_t size() const { return m_size; }

  protected:
    const unsigned char* m_data = nullptr;
    std::uint64_t m_size = 0;
};

// Maps the whole file. Null with a one-line reason (no path) on failure. A file of zero bytes
// gives a storage of size 0 without a mapping.
std::shared_ptr<Storage> mapFile(const std::string& path, std::string& error);

// Copies size bytes into an owned buffer.
std::shared_ptr<Storage> copyToStorage(const void* data, std::size_t size);

} // namespace Abc
} // namespace Kelno
