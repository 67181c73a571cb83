#pragma once

#include <optional>
#include <string>

#include "platform/imageformats/process/file_record.h"
#include "platform/imageformats/render/render_request.h"

namespace imageformats {

// Files whose pixels were given up because they took more time than they may. Asked for again, as a host does to learn
// why, they are refused at once instead of costing that time once more. Kept while the process runs; a file that has
// changed is another. All: any thread; none throws anything but std::bad_alloc.

// Why this view of the file was given up; nothing for one that was not.
std::optional<std::string> RefusalOf(const SFileRecord& file, const SViewChoice& view);
void NoteRefusal(const SFileRecord& file, const SViewChoice& view, const std::string& reason);

}  // namespace imageformats
