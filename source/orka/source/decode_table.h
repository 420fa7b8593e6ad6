// Decode tables: one row per parameter, naming the field it comes from, the
// bits of it that matter, the version gate, the value format and any extra
// condition. A decoder lists its rows in output order and runs them with
// AddDecodedRows; a reader then sees each field once, next to its name.
#pragma once

#include <json/json.h>

#include <string>

#include "orka_data.h"
#include "orka_nvme.h"

namespace orka {
namespace decode {

constexpr BitField WHOLE{0, 32};
constexpr BitField Bit(unsigned int bit) {
    return BitField{bit, 1};
}

inline const std::string NOT_REPORTED = "Not Reported";
inline const std::string NOT_SUPPORTED = "Not Supported";
inline const std::string RESERVED = "Reserved";

enum class Gate {
    kAlways,
    kVersion13,                // added when the drive claims 1.3 or the gated bits are non-zero
    kVersion14,                // as above for 1.4
    kVersion14OrNotSupported,  // always added: "Not Supported" when the 1.4 gate fails
};

// Calls the version gate of a row; a passing gate raises the highest version.
inline bool PassesGate(Gate gate, unsigned int version, unsigned int& highest_version, unsigned int present) {
    switch (gate) {
        case Gate::kAlways:
            return true;
        case Gate::kVersion13:
            return IsVersion1p3(version, highest_version, present);
        case Gate::kVersion14:
        case Gate::kVersion14OrNotSupported:
            return IsVersion1p4(version, highest_version, present);
    }
    return false;
}

inline unsigned long long Raw(unsigned char value) {
    return value;
}
template <typename T>
unsigned long long Raw(const LittleEndian<T>& value) {
    return value.get();
}

template <typename Data>
struct Row {
    using Reader = unsigned long long (*)(const Data&);
    using Format = std::string (*)(const Data&, unsigned int value);
    using Condition = bool (*)(const Data&);

    const char* name;  // appended to the decoder's prefix
    Reader field;      // null for rows whose format reads the data itself
    BitField bits;     // of `field`: the value both the gate and the format see
    Gate gate;
    Format format;
    Condition when = nullptr;      // checked before the gate
    Condition and_also = nullptr;  // checked after a gate that passed
    Reader gate_field = nullptr;   // when set, the gate sees this whole field instead of `bits`
};

// A reader of one member of a layout, for the `field` of a row.
template <auto Member, typename Data>
unsigned long long Field(const Data& data) {
    return Raw(data.*Member);
}

// Value formats that many rows share.
template <typename Data>
std::string Supported(const Data&, unsigned int bit) {
    return ToSupported(bit);
}
template <typename Data>
std::string Decimal(const Data&, unsigned int value) {
    return std::to_string(value);
}
template <typename Data>
std::string Number(const Data&, unsigned int value) {
    return ToNumberString(value);
}
template <typename Data>
std::string NumberOrNotSupported(const Data&, unsigned int value) {
    return value == 0 ? NOT_SUPPORTED : ToNumberString(value);
}
template <typename Data>
std::string NumberOrNotReported(const Data&, unsigned int value) {
    return value == 0 ? NOT_REPORTED : ToNumberString(value);
}

// Adds the parameter of every row whose conditions and gate pass, in order.
template <typename Data, std::size_t N>
void AddDecodedRows(const Row<Data> (&rows)[N], const Data& data, unsigned int version,
                    unsigned int& highest_version, Json::Value& parameters, const std::string& prefix = "") {
    for (const Row<Data>& row : rows) {
        if (row.when != nullptr && !row.when(data)) {
            continue;
        }
        const unsigned int value = row.field == nullptr ? 0 : GetBits(row.field(data), row.bits);
        const unsigned int present = row.gate_field == nullptr ? value : GetBits(row.gate_field(data), WHOLE);
        if (!PassesGate(row.gate, version, highest_version, present)) {
            if (row.gate == Gate::kVersion14OrNotSupported) {
                AddParameter(parameters, prefix + row.name, NOT_SUPPORTED);
            }
            continue;
        }
        if (row.and_also != nullptr && !row.and_also(data)) {
            continue;
        }
        AddParameter(parameters, prefix + row.name, row.format(data, value));
    }
}

}  // namespace decode
}  // namespace orka
