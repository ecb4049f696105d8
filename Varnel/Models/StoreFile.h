#pragma once

#include "Varnel/Models/StoreConnection.h"

#include <filesystem>

namespace Varnel::StoreFile {

// Makes the folder (0700) and an empty file (0600) where they are absent, and refuses what cannot be a store that is
// written: a folder in its place, a file without the permissions. Throws StoreError.
void prepare(const std::filesystem::path& file);

// Switches the database to write-ahead logging, with its two files beside it as private as itself. Throws StoreError.
void useWriteAheadLog(StoreConnection& connection);

} // namespace Varnel::StoreFile
