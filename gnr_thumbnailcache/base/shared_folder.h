#pragma once

#include <string>

// The all-users documents folder, created when missing, with the platform's separator at its end. A folder that cannot
// be made shows when the database in it is opened.
std::wstring GetSharedDocumentsFolder();

// Lets the folder's group, and nobody else, read and write a file in it, if it is this user's own. SQLite makes a new
// file as the umask says, and gives its journals the rights of the file. A link is left alone.
void ShareWithGroup(const std::wstring& path) noexcept;
