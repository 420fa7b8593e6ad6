// Log pages: reading them with Get Log Page and decoding them into parameters.
#pragma once

#include <json/json.h>

#include <cstddef>
#include <string>
#include <utility>

#include "orka_data.h"
#include "orka_linux.h"

namespace orka {

// The largest log page the tool reads, in bytes (a full telemetry log of 65536 blocks). A page the
// drive claims to be longer, or of length 0, is refused for that page with an error.
constexpr unsigned long long MAX_LOG_PAGE_LENGTH = 32ULL * 1024 * 1024;

// Sends one Get Log Page (02h) for `logId` into `buffer` (`length` bytes, a whole number of dwords,
// at least one), namespace FFFFFFFFh, with the log specific field `lsp`. The dword count asks for
// exactly `length` bytes. Returns 0, the errno of a failed request or the NVMe status the
// controller rejected it with. Records go to `commands` and `record` (null values keep none). An
// `optional` page that the drive rejects as not offered counts as not supported (see
// NvmeAdminCommand).
int ReadLogPage(unsigned int logId, unsigned int length, int fd, unsigned char* buffer, Json::Value& commands,
                Json::Value& record, unsigned char lsp, bool optional = false);

// As ReadLogPage, from byte `offset` of the log (dwords 12 and 13).
int ReadLogPageAt(unsigned int logId, unsigned int length, unsigned long long offset, int fd,
                  unsigned char* buffer, Json::Value& commands, Json::Value& record, unsigned char lsp,
                  bool optional = false);

// Command dwords 10 and 11 of a Get Log Page for `length` bytes: the log identifier, the log
// specific field and the zero-based dword count (NUMDL, NUMDU).
std::pair<unsigned int, unsigned int> LogPageDwords(unsigned int logId, unsigned int length,
                                                    unsigned char lsp);

// The longest transfer one command may carry, 0 for no limit: 2^MDTS x 4096 bytes (MDTS 0: no
// limit), bounded by the kernel's limit in KiB (`kernel_kib`, 0 when unknown).
unsigned long long MaxTransferLength(unsigned char mdts, unsigned long long kernel_kib);

// Reads the page when its "read log page NNh" setting is on and decodes it into `info`. Returns 0
// when the page was switched off or read and decoded, 1 when a command failed, the length is 0 or
// above MAX_LOG_PAGE_LENGTH, or anything threw. A page longer than the maximum transfer is read
// in pieces at increasing offsets when the drive supports log page offsets.
// `highest_version` is raised by decoders that meet fields of a later NVMe version.
int GetLogPage(unsigned int logId, unsigned int length, int fd, Json::Value& info, Json::Value& record,
               const Json::Value& settings, const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller,
               unsigned int& highest_version);

// Every log page the drive information collects, in its order and under the controller's support
// conditions (telemetry with its header read first). Failures show in the command records.
void GetLogPages(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int& highest_version);

// Decoders: each reads `length` bytes at `data` (what the drive returned; a shorter page reads as
// zeros beyond its end, and nothing past `length` is ever read), adds parameters to
// info["nvme"]["parameters"] and lists under info["nvme"], and returns 0. `highest_version` is
// raised when a field of a later NVMe version is in use.
using LogPageDecode = int(Json::Value& info, const unsigned char* data, std::size_t length,
                          const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller,
                          unsigned int& highest_version);
using LogPageDecoder = LogPageDecode*;
LogPageDecode ConvertLogPage1;
LogPageDecode ConvertLogPage2;
LogPageDecode ConvertLogPage3;
LogPageDecode ConvertLogPage5;
LogPageDecode ConvertLogPage6;
LogPageDecode ConvertLogPage0D;

// The telemetry header (log page 07h or 08h, `logId`) of `length` bytes at `data`, zeros beyond
// its end: its hex dump goes to info["raw hex data"]["log page <logId> pre"] and the length of the
// whole log it announces (up to the last block of data area 3) is returned, in bytes.
unsigned long long ConvertTelemetryHeader(unsigned int logId, Json::Value& info, const unsigned char* data,
                                          std::size_t length);

// The PCIe error details of a hardware error event; `info` is the additional hardware error
// information (the event data from its fifth byte), `length` the bytes of it that were read.
std::string pci_decode(const unsigned char* info, std::size_t length, bool correctable);

}  // namespace orka
