#include "NewFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace KXCore {

NewFile::NewFile(const std::string& path, mode_t mode) : path_(path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (file < 0) {
        const int code = errno;
        throw StreamError(code == EACCES ? StreamError::Kind::NotAllowed : StreamError::Kind::Failed, path,
                          std::generic_category().message(code));
    }
    close(file);
}

NewFile::~NewFile() {
    if (!kept_) unlink(path_.c_str());
}

mode_t modeOfCopy(const std::string& path) noexcept {
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0600;
}

}  // namespace KXCore
