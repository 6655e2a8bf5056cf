// Internal: the HDF5 back end of the archive reader, on the HDF5 C library.
//
// At open the object groups, property headers (the NAME.info / NAME.meta attributes on each
// compound's group), time samplings and archive metadata are read into the shared header tree;
// the file stays open and each sample read opens its attribute or dataset by name.
//
// Threading: the HDF5 library we build against is not built thread-safe, so every call into it
// (open, parse, each sample read, close) holds one process-wide lock around the library. Reads of
// HDF5 archives from many threads are therefore safe but serialised; Ogawa archives are not
// affected by this lock.
//
// Damage: the library's own error stacks are silenced; any failed call turns into a one-line
// reason. Group cycles (hard links back to an ancestor), excessive nesting and sizes that do not
// fit the file are refused before anything is allocated for them. The library itself trusts
// what it decodes and can crash on a damaged file, so on POSIX systems a short-lived child
// process first opens the archive and every stored sample; a file the child does not get
// through (crash or a minute without an answer) is refused, and only then does this process
// read it. (No such probe on Windows.) A file damaged on disk after open is not covered.
#pragma once

#include "KAbcReader.h"
#include "KAbcStorage.h"

namespace Kelno {
namespace Abc {

// True when the first bytes (size of them) are the HDF5 signature.
bool isHdf5Signature(const unsigned char* data, std::uint64_t size);

// Checks the extents the superblock records (its end of file and its driver information block)
// against the file's size, before the library is given the file: the library allocates and
// zero-fills blocks as long as those figures say. False with a one-line reason when they do not
// fit; a superblock this check cannot read is left to the library.
bool checkHdf5Extents(const Storage& storage, std::string& error);

// Opens the HDF5 archive at path (fileSize: its size in bytes, already known to the caller).
// Null with a one-line reason (no path) when it cannot be read as an Alembic archive.
std::unique_ptr<ArchiveReader> openHdf5File(const std::string& path, std::uint64_t fileSize,
                                            std::string& error);

// The same over an image of the file in memory (copied).
std::unique_ptr<ArchiveReader> openHdf5Memory(const void* data, std::size_t size, std::string& error);

} // namespace Abc
} // namespace Kelno
