// Named shared memory as POSIX shared-memory objects.
#include "platform/Platform.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

namespace tq4::platform {
namespace {

std::string posixName(const std::string& name) {
    std::string full = name.empty() || name[0] != '/' ? "/" + name : name;
    return full + getEnvironment("TQ4_SHM_SUFFIX");
}

// A creator sizes the object after creating it; an opener may see it still empty for a
// moment, so it waits briefly for the size to appear.
bool waitForSize(int fd, std::size_t size) {
    for (int attempt = 0; attempt < 200; ++attempt) {
        struct stat st {};
        if (fstat(fd, &st) != 0) return false;
        if (static_cast<std::size_t>(st.st_size) >= size) return true;
        usleep(1000);
    }
    return false;
}

}  // namespace

std::unique_ptr<SharedBlock> SharedBlock::openOrCreate(const std::string& name, std::size_t size) {
    if (size == 0) return nullptr;
    const std::string objectName = posixName(name);
    bool created = true;
    int fd = shm_open(objectName.c_str(), O_RDWR | O_CREAT | O_EXCL, 0666);
    if (fd < 0 && errno == EEXIST) {
        created = false;
        fd = shm_open(objectName.c_str(), O_RDWR, 0666);
    }
    if (fd < 0) return nullptr;
    fchmod(fd, 0666);  // other users' processes load the driver too; umask must not lock them out
    const bool sized = created ? ftruncate(fd, static_cast<off_t>(size)) == 0 : waitForSize(fd, size);
    void* mapped = sized ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0) : MAP_FAILED;
    if (mapped == MAP_FAILED) {
        if (created) shm_unlink(objectName.c_str());
        close(fd);
        return nullptr;
    }
    std::unique_ptr<SharedBlock> block(new SharedBlock());
    block->data_ = mapped;
    block->size_ = size;
    block->created_ = created;
    block->handle_ = fd;
    return block;
}

SharedBlock::~SharedBlock() {
    if (data_) munmap(data_, size_);
    if (handle_ >= 0) close(static_cast<int>(handle_));
}

void SharedBlock::unlink(const std::string& name) { shm_unlink(posixName(name).c_str()); }

}  // namespace tq4::platform
