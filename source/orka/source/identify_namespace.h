// Identify Namespace: reading the 4096-byte structure and decoding it into parameters.
#pragma once

#include <json/json.h>

#include "orka_data.h"
#include "orka_linux.h"

namespace orka {

// Sends Identify (CNS 00h) for namespace `nsid` into `data`; 0 or the errno of a failed request.
int ReadIdentifyNamespace(NVME_ID fd, int nsid, ORKA_NVME_IDENTIFY_NAMESPACE_DATA& data,
                          Json::Value& commands, Json::Value& more_commands);

// Reads the namespace and, when the read succeeded, decodes it (below). Returns the read's result;
// a failed read adds no parameter. Whatever `nsid` is read, the parameters are named "Namespace 1".
int GetIdentifyNamespace(NVME_ID fd, ORKA_NVME_IDENTIFY_NAMESPACE_DATA& data, unsigned int nsid,
                         Json::Value& info, bool raw_hex, unsigned int version, unsigned int& highest_version,
                         Json::Value& more_commands);

// Decodes a namespace structure already read into info "nvme" / "parameters" (and, with `raw_hex`,
// its hex dump into info "raw hex data" / "Identify Namespace 1"). `version` is the controller's VER;
// the version gates raise `highest_version`.
void DecodeIdentifyNamespace(const ORKA_NVME_IDENTIFY_NAMESPACE_DATA& data, Json::Value& info, bool raw_hex,
                             unsigned int version, unsigned int& highest_version);

}  // namespace orka
