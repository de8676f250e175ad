// Folders, files, environment and the append-only file.
// windows.h first: the other Windows headers need its types.
#include <windows.h>

#include <shlobj.h>
#include <shlwapi.h>

#include <cstdlib>

#include "platform/Platform.h"

namespace tq4::platform {

// TQ4_COMMON_APPDATA overrides the system's folder (tests, side-by-side installations).
bool commonAppDataFolder(std::string& folder) {
    std::string value = getEnvironment("TQ4_COMMON_APPDATA");
    if (!value.empty()) {
        folder = value;
        return true;
    }
    char buffer[MAX_PATH] = {};
    if (SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, buffer) != S_OK) return false;
    folder = buffer;
    return true;
}

bool makeDirectory(const std::string& path) {
    if (path.empty()) return false;
    if (CreateDirectoryA(path.c_str(), nullptr)) return true;
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool makeDirectories(const std::string& path) {
    if (path.empty()) return false;
    for (std::size_t pos = path.find_first_of("\\/", 1); pos != std::string::npos;
         pos = path.find_first_of("\\/", pos + 1)) {
        if (path[pos - 1] != ':') makeDirectory(path.substr(0, pos));
    }
    return makeDirectory(path);
}

bool fileExists(const std::string& path) { return !path.empty() && PathFileExistsA(path.c_str()); }

bool currentDirectory(std::string& dir) {
    char buffer[MAX_PATH] = {};
    const DWORD length = GetCurrentDirectoryA(sizeof buffer, buffer);
    if (length == 0 || length >= sizeof buffer) return false;
    dir.assign(buffer, length);
    return true;
}

char pathSeparator() { return '\\'; }
char gentlPathListSeparator() { return ';'; }

std::string getEnvironment(const char* name) {
    if (!name) return "";
    char buffer[32768];
    const DWORD length = GetEnvironmentVariableA(name, buffer, sizeof buffer);
    return length > 0 && length < sizeof buffer ? std::string(buffer, length) : std::string();
}

// Both the process environment (children, GetEnvironmentVariable) and the C runtime's copy.
bool setEnvironment(const char* name, const std::string& value) {
    return name && SetEnvironmentVariableA(name, value.c_str()) && _putenv_s(name, value.c_str()) == 0;
}

bool executablePath(std::string& path) {
    char buffer[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameA(nullptr, buffer, sizeof buffer);
    if (length == 0 || length >= sizeof buffer) return false;
    path.assign(buffer, length);
    return true;
}

int lastSystemError() { return static_cast<int>(GetLastError()); }

// ---- append-only file ----------------------------------------------------------------------
// Opened for appending only (FILE_APPEND_DATA without FILE_WRITE_DATA): every write lands at
// the end of the file, also with other processes appending. Flushing and cutting use a second,
// writable handle for the moment of the call. The cross-process lock is a byte range far
// beyond any log length, so that it excludes lockers only, never readers or writers.

namespace {

constexpr DWORD kLockOffsetHigh = 0x7fffffff;

HANDLE handleOf(intptr_t native) { return reinterpret_cast<HANDLE>(native); }

HANDLE openWritable(const std::string& path) {
    return CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

bool withWritable(const std::string& path, BOOL (*operation)(HANDLE)) {
    HANDLE file = openWritable(path);
    if (file == INVALID_HANDLE_VALUE) return false;
    const bool done = operation(file) != 0;
    CloseHandle(file);
    return done;
}

void lockRange(intptr_t native, DWORD flags) {
    OVERLAPPED where{};
    where.OffsetHigh = kLockOffsetHigh;
    LockFileEx(handleOf(native), flags, 0, 1, 0, &where);
}

}  // namespace

std::unique_ptr<AppendFile> AppendFile::open(const std::string& path, bool createIfMissing) {
    HANDLE file = CreateFileA(path.c_str(), FILE_APPEND_DATA | FILE_READ_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              createIfMissing ? OPEN_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return nullptr;
    return std::unique_ptr<AppendFile>(new AppendFile(reinterpret_cast<intptr_t>(file), path));
}

AppendFile::~AppendFile() { CloseHandle(handleOf(fd_)); }

bool AppendFile::append(const void* data, std::size_t length) {
    DWORD written = 0;
    return WriteFile(handleOf(fd_), data, static_cast<DWORD>(length), &written, nullptr) && written == length;
}

bool AppendFile::flush() { return withWritable(path_, FlushFileBuffers); }
bool AppendFile::truncate() { return withWritable(path_, SetEndOfFile); }

uint64_t AppendFile::size() const {
    LARGE_INTEGER length{};
    return GetFileSizeEx(handleOf(fd_), &length) ? static_cast<uint64_t>(length.QuadPart) : 0;
}

// Appenders take the range exclusively too: a write to an append-only handle is one append on
// Windows, but Wine seeks to the end and writes, and two processes doing that at once lose a line.
void AppendFile::lockShared() { lockRange(fd_, LOCKFILE_EXCLUSIVE_LOCK); }
void AppendFile::lockExclusive() { lockRange(fd_, LOCKFILE_EXCLUSIVE_LOCK); }
void AppendFile::unlock() {
    OVERLAPPED where{};
    where.OffsetHigh = kLockOffsetHigh;
    UnlockFileEx(handleOf(fd_), 0, 1, 0, &where);
}

}  // namespace tq4::platform
