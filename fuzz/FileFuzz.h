#pragma once

// The fuzz input as a file, for readers that take a path.
#include <unistd.h>

#include <cstdio>
#include <string>

inline const std::string& FuzzFile(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/orva-fuzz-" + std::to_string(getpid());
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) std::abort();
    if (size > 0) std::fwrite(data, 1, size, file);
    std::fclose(file);
    return path;
}
