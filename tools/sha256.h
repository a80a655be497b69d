// SHA-256 (FIPS 180-4), for the record a run keeps of its input files.
#ifndef ALAD_TOOLS_SHA256_H
#define ALAD_TOOLS_SHA256_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace alad_tool {

class Sha256 {
public:
    Sha256();
    void Update(const void* data, size_t size);
    void Update(std::string_view text) { Update(text.data(), text.size()); }
    // The digest as 64 lower-case hexadecimal digits; the object is spent afterwards.
    std::string HexDigest();

private:
    void Block(const uint8_t* block);
    uint32_t state_[8];
    uint8_t buffer_[64];
    size_t buffered_ = 0;
    uint64_t length_ = 0;  // bytes hashed so far
};

// The digest of a file's bytes; false when it cannot be read.
bool Sha256OfFile(const std::string& path, std::string* digest);

}  // namespace alad_tool

#endif  // ALAD_TOOLS_SHA256_H
