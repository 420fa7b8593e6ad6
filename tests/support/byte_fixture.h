// Raw device data for decoder tests, written field by field at byte offsets
// in little-endian order, independent of the layouts the decoders use.
#pragma once

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace testing_support {

class ByteFixture {
  public:
    explicit ByteFixture(std::size_t size, unsigned char fill = 0) : bytes_(size, fill) {}

    ByteFixture& put8(std::size_t offset, std::uint8_t value) { return putLittleEndian(offset, value, 1); }
    ByteFixture& put16(std::size_t offset, std::uint16_t value) { return putLittleEndian(offset, value, 2); }
    ByteFixture& put32(std::size_t offset, std::uint32_t value) { return putLittleEndian(offset, value, 4); }
    ByteFixture& put64(std::size_t offset, std::uint64_t value) { return putLittleEndian(offset, value, 8); }

    // The characters of `text`, without a terminating NUL.
    ByteFixture& putText(std::size_t offset, const std::string& text) {
        for (std::size_t i = 0; i < text.size(); ++i) {
            bytes_.at(offset + i) = static_cast<unsigned char>(text[i]);
        }
        return *this;
    }

    // `width` bytes (1 to 8) of `value`, least significant first; a write past the end throws.
    ByteFixture& putLittleEndian(std::size_t offset, std::uint64_t value, std::size_t width) {
        for (std::size_t i = 0; i < width; ++i) {
            bytes_.at(offset + i) = static_cast<unsigned char>(value >> (8 * i));
        }
        return *this;
    }

    const unsigned char* data() const { return bytes_.data(); }
    std::size_t size() const { return bytes_.size(); }

    // The bytes copied into a record of exactly the fixture's size.
    template <typename Record>
    Record as() const {
        static_assert(std::is_trivially_copyable<Record>::value, "records are plain bytes");
        if (sizeof(Record) != bytes_.size()) {
            throw std::length_error("fixture size differs from the record size");
        }
        Record record;
        std::memcpy(&record, bytes_.data(), sizeof(Record));
        return record;
    }

  private:
    std::vector<unsigned char> bytes_;
};

}  // namespace testing_support
