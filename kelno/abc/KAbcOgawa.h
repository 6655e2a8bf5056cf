// Internal: the Ogawa back end of the archive reader.
//
// Parses the container's group tree and the Alembic headers stored in it (object headers,
// property headers, time samplings, indexed metadata) once, validating every offset, size and
// count against the file size at open. Afterwards each sample read locates its block again
// (group count, reference, block length: all re-validated, since the file may have changed)
// and reads the values with one positioned read into the caller's memory.
#pragma once

#include "KAbcReader.h"
#include "KAbcStorage.h"

namespace Kelno {
namespace Abc {

// True when the first bytes (size of them) are the Ogawa magic.
bool isOgawaSignature(const unsigned char* data, std::uint64_t size);

// Parses storage as an Ogawa archive; null with a one-line reason when it is damaged.
std::unique_ptr<ArchiveReader> openOgawa(std::shared_ptr<Storage> storage, std::string& error);

} // namespace Abc
} // namespace Kelno
