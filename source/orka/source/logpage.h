// Log pages: reading them with Get Log Page and decoding them into parameters.
#pragma once

#include <json/json.h>

#include "orka_data.h"
#include "orka_linux.h"

namespace orka {

// Sends one Get Log Page (02h) for `logId` into `buffer` (`length` bytes), namespace FFFFFFFFh,
// with the log specific field `lsp`. Returns 0, the errno of a failed request or the NVMe status
// the controller rejected it with. Records go to `commands` and `record` (null values keep none).
int ReadLogPage(unsigned int logId, unsigned int length, int fd, unsigned char* buffer, Json::Value& commands,
                Json::Value& record, unsigned char lsp);

// Reads the page when its "read log page NNh" setting is on and decodes it into `info`. Returns 0
// when the page was switched off or read and decoded, 1 when a command failed or anything threw.
// `highest_version` is raised by decoders that meet fields of a later NVMe version.
int GetLogPage(unsigned int logId, unsigned int length, int fd, Json::Value& info, Json::Value& record,
               const Json::Value& settings, const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller,
               unsigned int& highest_version);

// Every log page the drive information collects, in its order and under the controller's support
// conditions (telemetry with its header read first). Failures show in the command records.
void GetLogPages(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int& highest_version);

}  // namespace orka
