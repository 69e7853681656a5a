#include "new_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "failure.h"

namespace tool {

NewFile::NewFile(const std::string& path) : path_(path), name_(path + ".XXXXXX") {
    struct stat old;
    const bool exists = stat(path.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode))
        throw Failure(path + ": cannot be written: not a regular file");
    const int descriptor = mkstemp(name_.data());
    if (descriptor < 0) fail();
    const mode_t mask = umask(0);
    umask(mask);
    const mode_t mode = exists ? old.st_mode & 0777 : 0666 & ~mask;
    if (fchmod(descriptor, mode) == 0) file_ = fdopen(descriptor, "wb");
    if (!file_) {
        const int reason = errno;
        close(descriptor);
        unlink(name_.c_str());
        errno = reason;
        fail();
    }
}

NewFile::~NewFile() {
    if (file_) std::fclose(file_);
    if (!renamed_) unlink(name_.c_str());
}

void NewFile::finish() {
    const bool written = std::fflush(file_) == 0 && fsync(fileno(file_)) == 0;
    const int reason = errno;
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    if (!written) errno = reason;
    if (!written || !closed || std::rename(name_.c_str(), path_.c_str()) != 0) fail();
    renamed_ = true;
}

void NewFile::fail() const {
    throw Failure(path_ + ": cannot be written: " + std::strerror(errno));
}

}  // namespace tool
