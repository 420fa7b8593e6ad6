// Identify Controller: reading the 4096-byte structure and decoding it into parameters.
#pragma once

#include <json/json.h>

#include "orka_data.h"
#include "orka_linux.h"

namespace orka {

int ReadIdentifyController(NVME_ID fd, ORKA_NVME_IDENTIFY_CONTROLLER_DATA& data, Json::Value& commands,
                           Json::Value& more_commands);
int GetIdentifyController(NVME_ID fd, ORKA_NVME_IDENTIFY_CONTROLLER_DATA& data, Json::Value& info, bool raw_hex,
                          unsigned int& highest_version, Json::Value& more_commands);

}  // namespace orka
