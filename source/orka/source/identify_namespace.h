// Identify Namespace: reading the 4096-byte structure and decoding it into parameters.
#pragma once

#include <json/json.h>

#include "orka_data.h"
#include "orka_linux.h"

namespace orka {

int ReadIdentifyNamespace(NVME_ID fd, int nsid, ORKA_NVME_IDENTIFY_NAMESPACE_DATA& data, Json::Value& commands,
                          Json::Value& more_commands);
int GetIdentifyNamespace(NVME_ID fd, ORKA_NVME_IDENTIFY_NAMESPACE_DATA& data, unsigned int nsid, Json::Value& info,
                         bool raw_hex, unsigned int version, unsigned int& highest_version,
                         Json::Value& more_commands);

}  // namespace orka
