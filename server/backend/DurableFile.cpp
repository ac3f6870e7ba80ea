#include "DurableFile.h"

#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace tailwise::backend {

void writeNewFileDurably(const std::filesystem::path &path, std::string_view bytes)
{
    std::FILE *file = std::fopen(path.c_str(), "wbx");
    if (!file)
        throw std::runtime_error("cannot create " + path.string());
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() &&
                         std::fflush(file) == 0 && ::fsync(fileno(file)) == 0;
    if (std::fclose(file) != 0 || !written) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        throw std::runtime_error("cannot write " + path.string());
    }
}

void syncDirectory(const std::filesystem::path &directory)
{
    const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        throw std::runtime_error("cannot open " + directory.string());
    const bool synced = ::fsync(fd) == 0;
    ::close(fd);
    if (!synced)
        throw std::runtime_error("cannot sync " + directory.string());
}

} // namespace tailwise::backend
