// Parameter records, the parameter catalogue and value formatting.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>

#include "orka.h"
#include "orka_data.h"

namespace orka {

// ---------------------------------------------------------------------------
// The parameter catalogue
// ---------------------------------------------------------------------------

struct parameter_info {
    std::string source;
    std::string description;
};

// Name -> {source, description}, ordered by name. Built from CATALOGUE_ROWS
// before main runs; ExpandParameterCatalogue turns its "#" names into numbered
// ones at start-up.
extern std::map<std::string, parameter_info> PARAMETER_INFO;

// Copies every templated "#" entry under its numbered names, then erases every
// name that still holds a "#". Running it again changes nothing.
void ExpandParameterCatalogue();

// The information document's list of admin command records,
// info["_metadata"]["commands"], made an empty array while it is still null
// (a null list keeps no records).
Json::Value& CommandList(Json::Value& info);

// Adds or replaces the record {name, value, description, source} under `name`.
// Throws OrkaError when the name is not in the catalogue.
void AddParameter(Json::Value& parameters, const std::string& name, const std::string& value);

// ---------------------------------------------------------------------------
// Value formatters
//
// Every value is reported as a display string. Integer formatters are
// templates over the field's own type; 8- and 16-bit fields print as unsigned.
// ---------------------------------------------------------------------------

// "0x" and exactly `digits` upper-case hex digits: higher digits are dropped,
// missing ones are "0".
template <typename T>
std::string ToHexString(T value, unsigned int digits);
// Decimal text grouped by "," every three digits.
template <typename T>
std::string ToNumberString(T value);
// Fixed six-decimal text cut (not rounded) to `decimals` places after the ".",
// then grouped by "," every three characters left of the ".". The "." stays
// when `decimals` is 0.
std::string ToFloatNumberString(double value, unsigned int decimals);
// "Supported" / "Yes" / "Enabled" only for exactly 1.
template <typename T>
std::string ToSupported(T value);
template <typename T>
std::string ToYes(T value);
template <typename T>
std::string ToEnabled(T value);
// "9 (2^9=512)": the power is a signed 32-bit 1 shifted by (value mod 32).
template <typename T>
std::string ToPowerOfTwo(T value);
// A count of 4 KiB units: "1,000 (4,000 KiB)", the product in 32 bits.
template <typename T>
std::string To4KibString(T value);
// Microseconds with seconds: "1,500,000 uS (1.500 sec)".
template <typename T>
std::string ToMicroSecondString(T value);
// Fixed notation rounded to `decimals` places, no grouping: "512.1".
std::string ToFixedString(double value, int decimals);
// Kelvin to whole degrees Celsius: "37 C".
std::string ToTemp(unsigned short kelvin);

// Identifier texts: lower-case hex, two digits a byte, "-" as the only separator.
std::string GetFguid(const unsigned char* bytes);    // 16 bytes, "-" after byte 2
std::string GetEuid(const unsigned char* bytes);     // 8 bytes, "-" after byte 2
std::string GetNguid(const unsigned char* bytes);    // 16 bytes, "-" after bytes 7 and 10
std::string GetIeeeOui(const unsigned char* bytes);  // 3 bytes, last first
// "major.minor.tertiary" from the low three bytes, each read as signed 8-bit.
std::string GetNvmeVersion(unsigned long version);
// As GetNvmeVersion, but a version of 0 (a drive made before Identify Controller held its version)
// is said in words.
std::string GetReportedNvmeVersion(unsigned long version);

// PCI vendor identifier text ("0x144D") to company name.
extern const std::map<std::string, std::string> VENDOR_PCI_LOOKUP;
// Case-insensitive look-up ("0X144d" finds "0x144D"); "Unknown" on a miss.
std::string LookupPciVendor(const std::string& id);

// True when the controller claims the version or `present` (the raw bits of a
// field that version introduced) is non-zero; then `highest` is raised to at
// least that version. On false `highest` is left alone.
bool IsVersion1p3(unsigned int version, unsigned int& highest, unsigned long long present);
bool IsVersion1p4(unsigned int version, unsigned int& highest, unsigned long long present);

// ---------------------------------------------------------------------------
// Drive information collection
// ---------------------------------------------------------------------------

// Collects the whole drive information document of one sample into `info` and the Identify
// Controller structure into `controller`; `record` receives a copy of every command record.
// True when every admin command that was not allowed to fail passed.
bool GetNvmeInfo(int fd, ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, const Json::Value& settings,
                 Json::Value& record, Json::Value& info);

// ---------------------------------------------------------------------------
// Rules
// ---------------------------------------------------------------------------

// Parses and checks a rules file into rules["rules"]; every bad rule is reported at once in one
// UsageError. An empty path does nothing.
void LoadRulesFile(const std::string& path, Json::Value& rules);
// Applies parsed rules to info "nvme" / "parameters" and lists the failures in
// info["rule violations"]. True when no rule was violated.
bool VerifyNvmeInfo(Json::Value& info, const Json::Value& rules);
// One rule against one value; on false `message` says why.
bool CheckRule(const std::string& name, const std::string& op, const std::string& limit, std::string value,
               std::string& message);
// Splits "1,024 GB" into "1024" and "GB"; trims `text` and takes its commas out.
void GetNumberAndUnit(std::string& text, std::string& number, std::string& unit);

// ---------------------------------------------------------------------------
// Comparison with an earlier information document
// ---------------------------------------------------------------------------

// Compares every parameter of `info` with `compare` and files the differences in the mismatch
// lists of `info`. True when no difference fails the comparison.
bool CompareNvmeInfo(const Json::Value& compare, Json::Value& info, std::string compareSetting);
// "exact", "counter" or "ignore".
std::string GetCompareType(const std::string& compareSetting, const std::string& name,
                           const std::string& source, bool sameDrive);
std::string GetDelta(const std::string& value, const std::string& compareValue);
bool GreaterEqual(const std::string& value, const std::string& compareValue);

// ---------------------------------------------------------------------------
// Template definitions
// ---------------------------------------------------------------------------

namespace detail {

// Inserts "," every three digits from the right of a plain decimal text; a
// leading "-" never gets a comma after it.
std::string GroupDigits(const std::string& decimal);

// Decimal text of an integer in its own type; 8- and 16-bit types widen
// without sign.
template <typename T>
std::string DecimalText(T value) {
    static_assert(std::is_integral_v<T> && !std::is_same_v<T, bool>, "integer fields only");
    if constexpr (sizeof(T) <= 2) {
        return std::to_string(static_cast<unsigned int>(static_cast<std::make_unsigned_t<T>>(value)));
    } else {
        return std::to_string(value);
    }
}

}  // namespace detail

template <typename T>
std::string ToHexString(T value, unsigned int digits) {
    static_assert(std::is_integral_v<T>, "integer fields only");
    constexpr char HEX_DIGITS[] = "0123456789ABCDEF";
    const auto bits = static_cast<unsigned long long>(static_cast<std::make_unsigned_t<T>>(value));
    std::string text = "0x";
    for (unsigned int digit = digits; digit-- > 0;) {
        const unsigned int shift = digit * 4;
        text += shift < 64 ? HEX_DIGITS[(bits >> shift) & 0xF] : '0';
    }
    return text;
}

template <typename T>
std::string ToNumberString(T value) {
    return detail::GroupDigits(detail::DecimalText(value));
}

template <typename T>
std::string ToSupported(T value) {
    return value == 1 ? "Supported" : "Not Supported";
}

template <typename T>
std::string ToYes(T value) {
    return value == 1 ? "Yes" : "No";
}

template <typename T>
std::string ToEnabled(T value) {
    return value == 1 ? "Enabled" : "Disabled";
}

template <typename T>
std::string ToPowerOfTwo(T value) {
    const auto shift = static_cast<unsigned int>(static_cast<unsigned long long>(value) % 32);
    const auto power = static_cast<std::int32_t>(std::uint32_t{1} << shift);
    const std::string decimal = detail::DecimalText(value);
    return decimal + " (2^" + decimal + "=" + std::to_string(power) + ")";
}

template <typename T>
std::string To4KibString(T value) {
    const std::uint32_t kib = static_cast<std::uint32_t>(value) * std::uint32_t{4};
    return ToNumberString(value) + " (" + ToNumberString(kib) + " KiB)";
}

template <typename T>
std::string ToMicroSecondString(T value) {
    const double seconds = static_cast<std::int32_t>(value) / 1000000.0;
    return ToNumberString(value) + " uS (" + ToFloatNumberString(seconds, 3) + " sec)";
}

}  // namespace orka
