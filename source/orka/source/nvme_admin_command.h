// The one path by which admin commands reach a drive.
#pragma once

#include <json/json.h>
#include <linux/nvme_ioctl.h>

#include <string>

#include "orka_linux.h"

// Sends one admin command through the Linux NVMe pass-through ioctl. Returns 0
// when the controller completed it successfully, the errno of a request the
// kernel failed, or the NVMe status (a positive value) of a command the
// controller rejected; only on success is `result` written. Appends a command
// record to each list that is not a null JSON value.
//
// An `optional` command that the controller rejects as not offered (see
// IsNotOfferedStatus) is the drive's choice, not a failure: it is logged at
// info level as not supported and its record says "allowed": true.
int LINUX_ADMIN_COMMAND(orka::NVME_ID fd, std::string name, int opcode, int nsid, int cdw10, int cdw11,
                        int cdw12, int cdw13, int cdw14, int cdw15, int data_len, unsigned char* data,
                        unsigned int* result, Json::Value& commands, Json::Value& more_commands, bool allowed,
                        bool optional = false);

namespace orka {

// A short name for an NVMe completion status as the driver returns it (status
// code type and code, More and Do Not Retry bits ignored): the generic command
// status values by name, "Unknown status" for anything else.
std::string NvmeStatusName(unsigned int status);

// True for the completion statuses with which a controller says it does not
// offer a command, a page or a feature: Invalid Command Opcode and Invalid
// Field in Command (generic), Invalid Log Page (command specific), whatever the
// More, Do Not Retry and retry delay bits say.
bool IsNotOfferedStatus(unsigned int status);

// True for the record of an optional command that the drive did not offer.
bool IsNotSupported(const Json::Value& command);

// Zeroes the kernel's command block and sets only the opcode (low byte), the
// namespace, the buffer address and length and command dwords 10 to 15. The
// timeout stays 0 so the driver's default admin timeout applies.
void BuildAdminCommand(nvme_admin_cmd& cmd, unsigned short opcode, unsigned int nsid, unsigned int cdw10,
                       unsigned int cdw11, unsigned int cdw12, unsigned int cdw13, unsigned int cdw14,
                       unsigned int cdw15, unsigned char* data, unsigned int data_len);

int NvmeAdminCommand(NVME_ID fd, const std::string& name, Json::Value& commands, Json::Value& more_commands,
                     unsigned short opcode, unsigned int nsid, unsigned int cdw10, unsigned int cdw11,
                     unsigned int cdw12, unsigned int cdw13, unsigned int cdw14, unsigned int cdw15,
                     unsigned char* data, unsigned int* result, unsigned int data_len, bool allowed,
                     bool optional = false);

}  // namespace orka
