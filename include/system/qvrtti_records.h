#pragma once

#include "system/qvrtti.h"

// The special members of the registry's records. Exactly one source of each library that copies records, and of each
// component library, includes this file.

SQvRTTIClass::SQvRTTIClass() = default;
SQvRTTIClass::SQvRTTIClass(const SQvRTTIClass& other) = default;
SQvRTTIClass::SQvRTTIClass(SQvRTTIClass&& other) noexcept = default;
SQvRTTIClass& SQvRTTIClass::operator=(const SQvRTTIClass& other) = default;
SQvRTTIClass& SQvRTTIClass::operator=(SQvRTTIClass&& other) noexcept = default;
SQvRTTIClass::~SQvRTTIClass() = default;

SQvRTTICacheEntry::SQvRTTICacheEntry() = default;
SQvRTTICacheEntry::SQvRTTICacheEntry(const SQvRTTICacheEntry& other) = default;
SQvRTTICacheEntry::SQvRTTICacheEntry(SQvRTTICacheEntry&& other) noexcept = default;
SQvRTTICacheEntry& SQvRTTICacheEntry::operator=(const SQvRTTICacheEntry& other) = default;
SQvRTTICacheEntry& SQvRTTICacheEntry::operator=(SQvRTTICacheEntry&& other) noexcept = default;
SQvRTTICacheEntry::~SQvRTTICacheEntry() = default;
