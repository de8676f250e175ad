// Files written whole: a reader sees the old content or the new one, never a part.
#pragma once

#include <functional>
#include <string>

namespace tq4::platform {

// `fill` writes the new content into the temporary file it is given, beside `path` and named
// after this process ("<path>.tmp<process id>"), which then replaces `path`. Returns an empty
// text on success, else why not; nothing is left behind either way. An exception from `fill`
// is passed on after the temporary file is removed. Writers in one process take turns.
std::string replaceFileWhole(const std::string& path, const std::function<bool(const std::string&)>& fill);

}  // namespace tq4::platform
