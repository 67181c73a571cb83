#pragma once

#include <cstdint>
#include <string>

// Looks into, and interferes with, a database behind the program's back. Throws SQLite::Exception.

// First column of the first row, as text; empty when there is none.
std::string QueryText(const std::string& database, const std::string& sql);
std::int64_t QueryInt(const std::string& database, const std::string& sql);
// Any number of statements.
void Execute(const std::string& database, const std::string& sql);
