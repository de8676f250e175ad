// Folders, files, environment and the append-only file.
#include "platform/Platform.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace tq4::platform {

bool commonAppDataFolder(std::string& folder) {
    for (const char* name : {"TQ4_COMMON_APPDATA", "XDG_DATA_HOME"}) {
        std::string value = getEnvironment(name);
        if (!value.empty()) {
            folder = value;
            return true;
        }
    }
    std::string home = getEnvironment("HOME");
    folder = home.empty() ? "/tmp" : home + "/.local/share";
    return true;
}

bool makeDirectory(const std::string& path) {
    if (path.empty()) return false;
    if (mkdir(path.c_str(), 0777) == 0) return true;
    struct stat st {};
    return errno == EEXIST && stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool makeDirectories(const std::string& path) {
    if (path.empty()) return false;
    for (std::size_t pos = path.find('/', 1); pos != std::string::npos; pos = path.find('/', pos + 1)) {
        makeDirectory(path.substr(0, pos));
    }
    return makeDirectory(path);
}

bool fileExists(const std::string& path) {
    struct stat st {};
    return !path.empty() && stat(path.c_str(), &st) == 0;
}

bool currentDirectory(std::string& dir) {
    char buffer[PATH_MAX];
    if (!getcwd(buffer, sizeof buffer)) return false;
    dir = buffer;
    return true;
}

char pathSeparator() { return '/'; }
char gentlPathListSeparator() { return ':'; }

std::string getEnvironment(const char* name) {
    const char* value = name ? std::getenv(name) : nullptr;
    return value ? value : "";
}

// NOLINTNEXTLINE(concurrency-mt-unsafe): tests and benchmarks change the environment, the product never does
bool setEnvironment(const char* name, const std::string& value) { return name && setenv(name, value.c_str(), 1) == 0; }

bool executablePath(std::string& path) {
    char buffer[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (length <= 0) return false;
    path.assign(buffer, static_cast<std::size_t>(length));
    return true;
}

int lastSystemError() { return errno; }

// ---- append-only file ----------------------------------------------------------------------

namespace {
// The descriptor an AppendFile holds: open() made it from an int.
int descriptorOf(intptr_t fd) { return static_cast<int>(fd); }

void lockFile(int fd, int operation) {
    while (flock(fd, operation) != 0 && errno == EINTR) {}
}
}  // namespace

std::unique_ptr<AppendFile> AppendFile::open(const std::string& path, bool createIfMissing) {
    int flags = O_RDWR | O_APPEND | O_CLOEXEC | (createIfMissing ? O_CREAT : 0);
    int fd = ::open(path.c_str(), flags, 0666);
    if (fd < 0) return nullptr;
    return std::unique_ptr<AppendFile>(new AppendFile(fd, path));
}

AppendFile::~AppendFile() { close(descriptorOf(fd_)); }

bool AppendFile::append(const void* data, std::size_t length) {
    ssize_t written;
    do {
        written = write(descriptorOf(fd_), data, length);
    } while (written < 0 && errno == EINTR);
    return written == static_cast<ssize_t>(length);
}

bool AppendFile::flush() { return fdatasync(descriptorOf(fd_)) == 0; }
bool AppendFile::truncate() { return ftruncate(descriptorOf(fd_), 0) == 0; }

uint64_t AppendFile::size() const {
    struct stat st {};
    return fstat(descriptorOf(fd_), &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
}

void AppendFile::lockShared() { lockFile(descriptorOf(fd_), LOCK_SH); }
void AppendFile::lockExclusive() { lockFile(descriptorOf(fd_), LOCK_EX); }
void AppendFile::unlock() { lockFile(descriptorOf(fd_), LOCK_UN); }

}  // namespace tq4::platform
