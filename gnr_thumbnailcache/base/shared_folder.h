#pragma once

#include <string>

// The all-users documents folder, created when missing, with the platform's separator at its end. A folder that cannot
// be made shows when the database in it is opened.
std::wstring GetSharedDocumentsFolder();
