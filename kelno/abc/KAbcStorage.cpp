#include "KAbcStorage.h"

#include <cerrno>
#include <cstring>
#include <vector>

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <fcntl.h>
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
        m_size = m_bytes.size();
    }
    bool read(std::uint64_t offset, void* destination, std::size_t size) const override {
        if (!_inRange(offset, size))
            return false;
        if (size)
            std::memcpy(destination, m_bytes.data() + offset, size);
        return true;
    }

  private:
    std::vector<unsigned char> m_bytes;
};

#if defined(_WIN32)
std::wstring widen(const std::string& utf8) {
    const int n = ::MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, nullptr, 0);
    if (n <= 0)
        return std::wstring();
    std::wstring wide(static_cast<std::size_t>(n), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, &wide[0], n);
    wide.resize(static_cast<std::size_t>(n - 1));
    return wide;
}

class FileStorage : public Storage {
  public:
    FileStorage(HANDLE handle, std::uint64_t size) : m_handle(handle) { m_size = size; }
    ~FileStorage() override { ::CloseHandle(m_handle); }
    bool read(std::uint64_t offset, void* destination, std::size_t size) const override {
        if (!_inRange(offset, size))
            return false;
        unsigned char* out = static_cast<unsigned char*>(destination);
        while (size > 0) {
            // Each call names its own offset, so concurrent reads never share a file position.
            const DWORD chunk = static_cast<DWORD>(size < (1u << 30) ? size : (1u << 30));
            OVERLAPPED at = {};
            at.Offset = static_cast<DWORD>(offset & 0xffffffffu);
            at.OffsetHigh = static_cast<DWORD>(offset >> 32);
            DWORD got = 0;
            if (!::ReadFile(m_handle, out, chunk, &got, &at) || got == 0)
                return false; // error, or the end of a file that has become shorter
            out += got;
            offset += got;
            size -= got;
        }
        return true;
    }

  private:
    HANDLE m_handle;
};
#else
class FileStorage : public Storage {
  public:
    FileStorage(int fd, std::uint64_t size) : m_fd(fd) { m_size = size; }
    ~FileStorage() override { ::close(m_fd); }
    bool read(std::uint64_t offset, void* destination, std::size_t size) const override {
        if (!_inRange(offset, size))
            return false;
        unsigned char* out = static_cast<unsigned char*>(destination);
        while (size > 0) {
            const ssize_t got = ::pread(m_fd, out, size, static_cast<off_t>(offset));
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                return false; // error, or the end of a file that has become shorter
            out += got;
            offset += static_cast<std::uint64_t>(got);
            size -= static_cast<std::size_t>(got);
        }
        return true;
    }

  private:
    int m_fd;
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
std::shared_ptr<Storage> openFileStorage(const std::string& path, std::string& error) {
    // Other processes may keep reading, rewriting or deleting the file while it is open here.
    const HANDLE handle = ::CreateFileW(widen(path).c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        error = "cannot open the file";
        return nullptr;
    }
    BY_HANDLE_FILE_INFORMATION info;
    if (!::GetFileInformationByHandle(handle, &info) || (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
        ::CloseHandle(handle);
        error = "not a regular file";
        return nullptr;
    }
    const std::uint64_t size = (static_cast<std::uint64_t>(info.nFileSizeHigh) << 32) |
                               static_cast<std::uint64_t>(info.nFileSizeLow);
    return std::make_shared<FileStorage>(handle, size);
}
#else
std::shared_ptr<Storage> openFileStorage(const std::string& path, std::string& error) {
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
    if (st.st_size < 0 || static_cast<std::uint64_t>(st.st_size) > static_cast<std::uint64_t>(SIZE_MAX)) {
        error = "file too large to read";
        ::close(fd);
        return nullptr;
    }
    return std::make_shared<FileStorage>(fd, static_cast<std::uint64_t>(st.st_size));
}
#endif

} // namespace Abc
} // namespace Kelno
