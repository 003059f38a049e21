// SPDX-License-Identifier: Apache-2.0
#include "input/mapped_file.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace steadywarp::tool {

Result<MappedFile> MappedFile::open(const std::string& path) {
    const auto cannot = [&path] {
        return Fault{path, 0, std::string("cannot be read: ") + std::strerror(errno)};
    };
    // A pipe without a writer would wait for one.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return cannot();
    }
    MappedFile file;
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        const Fault fault = cannot();
        close(descriptor);
        return fault;
    }
    if (!S_ISREG(status.st_mode)) {
        close(descriptor);
        return Fault{path, 0, "expected a file"};
    }
    file.size_ = static_cast<size_t>(status.st_size);
    if (file.size_ != 0) {
        void* const data = mmap(nullptr, file.size_, PROT_READ, MAP_PRIVATE, descriptor, 0);
        if (data == MAP_FAILED) {
            file.size_ = 0;
            const Fault fault = cannot();
            close(descriptor);
            return fault;
        }
        file.data_ = data;
    }
    close(descriptor);
    return file;
}

MappedFile::~MappedFile() {
    if (data_ != nullptr) {
        munmap(data_, size_);
    }
}

}  // namespace steadywarp::tool
