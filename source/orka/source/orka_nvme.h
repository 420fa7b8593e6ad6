// Parameter records, the parameter catalogue and value formatting.
#pragma once

#include <json/json.h>

#include <map>
#include <string>

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

// Adds or replaces the record {name, value, description, source} under `name`.
// Throws OrkaError when the name is not in the catalogue.
void AddParameter(Json::Value& parameters, const std::string& name, const std::string& value);

// ---------------------------------------------------------------------------
// Value formatters (definitions below, with the catalogue work)
// ---------------------------------------------------------------------------

template <typename T>
std::string ToHexString(T value, unsigned int digits);
template <typename T>
std::string ToNumberString(T value);
std::string ToFloatNumberString(double value, unsigned int decimals);
template <typename T>
std::string ToSupported(T value);
template <typename T>
std::string ToYes(T value);
template <typename T>
std::string ToEnabled(T value);
template <typename T>
std::string ToPowerOfTwo(T value);
template <typename T>
std::string To4KibString(T value);
template <typename T>
std::string ToMicroSecondString(T value);
std::string ToTemp(unsigned short kelvin);

std::string GetFguid(const unsigned char* bytes);
std::string GetEuid(const unsigned char* bytes);
std::string GetNguid(const unsigned char* bytes);
std::string GetIeeeOui(const unsigned char* bytes);
std::string GetNvmeVersion(unsigned long version);

extern const std::map<std::string, std::string> VENDOR_PCI_LOOKUP;
std::string LookupPciVendor(const std::string& id);

bool IsVersion1p3(unsigned int version, unsigned int& highest, unsigned long long present);
bool IsVersion1p4(unsigned int version, unsigned int& highest, unsigned long long present);

}  // namespace orka
