// Identify Controller: reading the 4096-byte structure and decoding it into parameters.
#pragma once

#include <json/json.h>

#include "orka_data.h"
#include "orka_linux.h"

namespace orka {

// Sends Identify (CNS 01h) for the controller into `data`; 0 or the errno of a failed request.
int ReadIdentifyController(NVME_ID fd, ORKA_NVME_IDENTIFY_CONTROLLER_DATA& data, Json::Value& commands,
                           Json::Value& more_commands);
// Reads the structure and, when the read succeeded, decodes it (below). Returns the read's result;
// a failed read adds no parameter. Command records go to info "_metadata" / "commands" and to
// `more_commands`.
int GetIdentifyController(NVME_ID fd, ORKA_NVME_IDENTIFY_CONTROLLER_DATA& data, Json::Value& info,
                          bool raw_hex, unsigned int& highest_version, Json::Value& more_commands);

// Decodes a structure already read into info "nvme" / "parameters" (and, with `raw_hex`, its hex dump
// into info "raw hex data" / "Identify Controller"). Raises `highest_version` to the drive's version
// and to every later version whose fields the drive fills in. Throws OrkaError for drives older than
// 1.2.1, before any parameter is added.
void DecodeIdentifyController(const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& data, Json::Value& info, bool raw_hex,
                              unsigned int& highest_version);

}  // namespace orka
