// Text, number and JSON file helpers.
#include "orka.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <memory>
#include <sstream>

namespace orka {

void RethrowWithOrigin(const std::string& function, const std::string& path, unsigned int line) {
    std::string message;
    try {
        throw;
    } catch (const std::exception& caught) {
        message = caught.what();
    } catch (...) {
        message = "Unknown exception type";
    }
    throw std::runtime_error(message + "\n @ " + function + " " + path + " " + std::to_string(line));
}

// ---------------------------------------------------------------------------
// Text
// ---------------------------------------------------------------------------

namespace {

bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

}  // namespace

void GroupThousands(std::string& text, long long end, long long start) {
    for (long long pos = end - 3; pos > start; pos -= 3) {
        text.insert(static_cast<std::string::size_type>(pos), ",");
    }
}

void LeftTrim(std::string& text) {
    text.erase(text.begin(), std::find_if_not(text.begin(), text.end(), IsSpace));
}

void RightTrim(std::string& text) {
    text.erase(std::find_if_not(text.rbegin(), text.rend(), IsSpace).base(), text.end());
}

void Trim(std::string& text) {
    LeftTrim(text);
    RightTrim(text);
}

void RemoveCommas(std::string& text) {
    text.erase(std::remove(text.begin(), text.end(), ','), text.end());
}

void LowerCase(std::string& text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
}

void UpperCase(std::string& text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
}

// ---------------------------------------------------------------------------
// Numbers
// ---------------------------------------------------------------------------

bool ToLongLong(std::string text, long long& out) {
    Trim(text);
    RemoveCommas(text);
    try {
        out = std::stoll(text, nullptr, 10);
    } catch (...) {
        return false;
    }
    return true;
}

bool ToLongDouble(std::string text, long double& out) {
    Trim(text);
    RemoveCommas(text);
    try {
        out = std::stold(text);
    } catch (...) {
        return false;
    }
    return true;
}

uint128 To128bitNumber(const unsigned char* bytes) {
    unsigned long long low = 0;
    unsigned long long high = 0;
    for (int i = 7; i >= 0; --i) {
        low = (low << 8) | bytes[i];
        high = (high << 8) | bytes[8 + i];
    }
    return (uint128(high) << 64) | uint128(low);
}

std::string ToBigNumberString(const int128& value) {
    std::string text = value.str();
    const long long start = (!text.empty() && text[0] == '-') ? 1 : 0;
    GroupThousands(text, static_cast<long long>(text.size()), start);
    return text;
}

std::string ToBigNumberString(const uint128& value) {
    std::string text = value.str();
    GroupThousands(text, static_cast<long long>(text.size()), 0);
    return text;
}

std::string ToBigFloatNumberString(const float128& value, int precision) {
    std::string text;
    if (precision > 0) {
        std::ostringstream out;
        out << std::fixed << std::setprecision(precision) << value;
        text = out.str();
    } else {
        // The multiprecision stream output takes precision 0 as "all digits",
        // so round to the nearest integer (ties to even) by hand.
        float128 whole = boost::multiprecision::floor(value);
        const float128 rest = value - whole;
        if (rest > 0.5 || (rest == 0.5 && boost::multiprecision::fmod(whole, float128(2)) != 0)) {
            whole += 1;
        }
        text = boost::multiprecision::cpp_int(whole).str();
    }
    const long long start = (!text.empty() && text[0] == '-') ? 1 : 0;
    // Without a decimal point (precision 0) the position is taken as -1, so
    // nothing is grouped: such numbers come back without separators.
    const auto point = text.find('.');
    const long long end = point == std::string::npos ? -1 : static_cast<long long>(point);
    GroupThousands(text, end, start);
    return text;
}

// ---------------------------------------------------------------------------
// JSON files
// ---------------------------------------------------------------------------

std::string ParseJsonFile(const std::string& path, Json::Value& value) {
    const TimePoint start = std::chrono::system_clock::now();
    errno = 0;
    std::ifstream file(path);
    if (!file.is_open()) {
        return std::strerror(errno != 0 ? errno : ENOENT);
    }
    Json::CharReaderBuilder builder;
    std::string errors;
    try {
        if (!Json::parseFromStream(builder, file, &value, &errors)) {
            // "* Line 3, Column 5\n  Missing ',' or '}' in object declaration\n...": the first fault, on one
            // line.
            std::istringstream lines(errors);
            std::string where;
            std::string what;
            std::getline(lines, where);
            std::getline(lines, what);
            const auto text = where.find("Line");
            const auto reason = what.find_first_not_of(' ');
            return (text == std::string::npos ? where : where.substr(text)) +
                   (reason == std::string::npos ? "" : ": " + what.substr(reason));
        }
    } catch (const std::exception& error) {
        return error.what();
    }
    LOG_DEBUG << "Read JSON data from file '" << path << "' in " << GetHiResDiffTimeString(start, 3);
    return "";
}

void ReadJsonFile(const std::string& path, Json::Value& value) {
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        throw OrkaError("Could not open file to read JSON data '" + path + "'");
    }
    const std::string fault = ParseJsonFile(path, value);
    if (!fault.empty()) {
        throw OrkaError("Failed parsing JSON data from file '" + path + "': " + fault);
    }
}

void WriteFileByRename(const std::string& path, const std::function<void(std::ostream&)>& fill) {
    // The text goes to a temporary name beside the target and is renamed into place, so an
    // interrupted run or a full disk never leaves a truncated file under the real name.
    const std::string partial = path + ".partial-" + std::to_string(::getpid());
    errno = 0;
    std::ofstream file(partial, std::ios::out | std::ios::trunc);
    if (!file.is_open()) {
        throw OrkaError("Could not open file to write JSON data to '" + path +
                        "': " + std::strerror(errno != 0 ? errno : EACCES));
    }
    fill(file);
    file.close();
    if (file.fail()) {
        std::remove(partial.c_str());
        throw OrkaError("Failed writing JSON data to '" + path + "'");
    }
    if (std::rename(partial.c_str(), path.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        std::remove(partial.c_str());
        throw OrkaError("Failed writing JSON data to '" + path + "': " + reason);
    }
}

void WriteJsonFile(const std::string& path, const Json::Value& value) {
    const TimePoint start = std::chrono::system_clock::now();
    WriteFileByRename(path, [&value](std::ostream& out) { out << value; });
    LOG_DEBUG << "Wrote JSON data to file '" << path << "' in " << GetHiResDiffTimeString(start, 3);
}

void ConvertStringToJson(const std::string& text, Json::Value& value) {
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
        throw OrkaError("Failed to convert string to Json");
    }
}

// ---------------------------------------------------------------------------
// Raw data
// ---------------------------------------------------------------------------

void FormatHexData(const char* data, unsigned int length, Json::Value& out) {
    static const char DIGITS[] = "0123456789ABCDEF";
    static const std::string TEMPLATE =
        "  |  .. .. .. .. .. .. .. ..  |  .. .. .. .. .. .. .. ..        . . . . . . . .  |  . . . . . . . .";
    out = Json::Value(Json::arrayValue);
    for (unsigned int offset = 0; offset < length; offset += 16) {
        std::string line = "0x";
        for (int shift = 12; shift >= 0; shift -= 4) {
            line += DIGITS[(offset >> shift) & 0xF];
        }
        line += TEMPLATE;
        std::size_t hex = 11;
        std::size_t text = 70;
        for (unsigned int i = offset; i < offset + 16 && i < length; ++i) {
            const auto byte = static_cast<unsigned char>(data[i]);
            line[hex] = DIGITS[byte >> 4];
            line[hex + 1] = DIGITS[byte & 0xF];
            const auto shown = static_cast<signed char>(data[i]);
            if (shown > 31 && shown != 127) {
                line[text] = data[i];
            }
            if (i - offset == 7) {
                hex += 7;
                text += 6;
            } else {
                hex += 3;
                text += 2;
            }
        }
        out.append(line);
    }
}

bool AllZeros(const unsigned char* bytes, unsigned long length) {
    return std::all_of(bytes, bytes + length, [](unsigned char b) { return b == 0; });
}

}  // namespace orka
