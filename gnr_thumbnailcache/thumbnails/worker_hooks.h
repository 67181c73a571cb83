#pragma once

#include <atomic>

// Test-only: called by a worker between finding nothing to do and waiting, with the service mutex held.
extern std::atomic<void (*)()> g_beforeWorkerWait;
