#pragma once

#include "Varnel/Models/StoreConnection.h"

namespace Varnel::StoreSchema {

// Recorded in the file: "Vrnl", and the schema's version 1.0.0 as one number.
inline constexpr std::int64_t applicationId = 0x56726E6C;
inline constexpr std::int64_t version = 1'00'00;

// Makes the tables of an empty database in one transaction, and checks those of any other.
// Throws StoreError: futureVersion, damaged, cannotOpen for another program's database.
void prepare(StoreConnection& connection);

// Throws StoreError futureVersion if the file's own header says so, without opening it as a database, for opening can
// change it. Anything else passes.
void refuseFutureVersion(const std::filesystem::path& file);

// The statements that make the tables; and those that make the search index over them, which can be made anew at any
// time.
extern const char* const tables;
extern const char* const searchIndex;

} // namespace Varnel::StoreSchema
