// Runs the drive information's log-page step on a simulated drive in-process.
#pragma once

#include <json/json.h>

#include <string>

#include "identify_controller.h"
#include "logpage.h"
#include "orka_linux.h"
#include "orka_nvme.h"

namespace testing_support {

// Settings that switch every log page on.
inline Json::Value AllLogPagesSettings(unsigned controller) {
    Json::Value settings;
    for (unsigned id = 1; id <= 0x10; ++id) {
        settings["read log page " + orka::ToHexString(id, 2).substr(2) + "h"] = true;
    }
    settings["log hex data"] = true;
    settings["common"]["nvme path"] = "/dev/nvme" + std::to_string(controller);
    return settings;
}

// Identify Controller, then every log page of the drive the settings name, into one document.
inline Json::Value CollectLogPages(const Json::Value& settings) {
    orka::ExpandParameterCatalogue();
    Json::Value info;
    Json::Value record;
    const orka::NVME_ID fd = orka::GetNvmeId(settings["common"]["nvme path"].asString(), false);
    orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA controller_data{};
    orka::ReadIdentifyController(fd, controller_data, orka::CommandList(info), record);
    unsigned int highest = 0;
    orka::GetLogPages(fd, info, record, settings, controller_data, highest);
    orka::CloseNvmeId(fd);
    return info;
}

}  // namespace testing_support
