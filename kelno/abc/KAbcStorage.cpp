#include "KAbcStorage.h"

#include <cerrno>
#include <cstring>

#if defined(_WIN32)
#include <fstream>
#include <iterator>
#else
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace Kelno {
namespace Abc {

Storage::~Storage() = default;

namespace {

class BufferStorage : public Storage {
  public:
    explicit BufferStorage(std::vector<unsigned char>&& bytes) : m_bytes(std::move(bytes)) {
        m_data = m_bytes.empty() ? nullptr : m_bytes.data();
        m_size = m_bytes.size();
    }

  private:
    std::vector<unsigned char> m_bytes;
};

#if !defined(_WIN32)
class MappedStorage : public Storage {
  public:
    MappedStorage(void* address, std::uint64_t size) : m_address(address) {
        m_data = static_cast<const unsigned char*>(address);
        m_size = size;
    }
    ~MappedStorage() override {
        if (m_address)
            ::munmap(m_address, static_cast<std::size_t>(m_size));
    }

  private:
    void* m_address;
};
#endif

} // namespace

std::shared_ptr<Storage> copyToStorage(const void* data, std::size_t size) {
    std::vector<unsigned char> bytes(size);
    if (size)
        std::memcpy(bytes.data(), data, size);
    return std::make_shared<BufferStorage>(std::move(bytes));
}

#if defined(_WIN32)
std::shared_ptr<Storage> mapFile(const std::string& path, std::string& error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot open the file";
        return nullptr;
    }
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    return std::make_shared<BufferStorage>(std::move(bytes));
}
#else
std::shared_ptr<Storage> mapFile(const std::string& path, std::string& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = std::string("cannot open the file: ") + std::strerror(errno);
        return nullptr;
    }
    struct stat st;
    if (::fstat(fd, &st) != 0) {
        error = std::string("cannot read the file: ") + std::strerror(errno);
        ::close(fd);
        return nullptr;
    }
    if (!S_ISREG(st.st_mode)) {
        error = "not a regular file";
        ::close(fd);
        return nullptr;
    }
    const std::uint64_t size = static_cast<std::uint64_t>(st.st_size);
    if (size == 0) {
        ::close(fd);
        return std::make_shared<BufferStorage>(std::vector<unsigned char>());
    }
    if (size > static_cast<std::uint64_t>(SIZE_MAX)) {
        error = "file too large to map";
        ::close(fd);
        return nullptr;
    }
    void* address = ::mmap(nullptr, static_cast<std::size_t>(size), PROT_READ, MAP_PRIVATE, fd, 0);
    const int mapErrno = errno;
    ::close(fd);
    if (address == MAP_FAILED) {
        error = std::string("cannot map the file: ") + std::strerror(mapErrno);
        return nullptr;
    }
    return std::make_shared<MappedStorage>(address, size);
}
#endif

} // namespace Abc
} // namespace Kelno
