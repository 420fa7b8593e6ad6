#include "reference_info.h"

#include <algorithm>
#include <cstring>

#include "identify_controller.h"
#include "identify_namespace.h"
#include "orka_nvme.h"

namespace fuzz {

namespace {

template <typename Record>
Record FromBytes(const brantix_sim::Bytes& bytes) {
    Record record{};
    std::memcpy(&record, bytes.data(), std::min(bytes.size(), sizeof(record)));
    return record;
}

}  // namespace

Json::Value DecodeDrive(const brantix_sim::Drive& drive) {
    Json::Value info;
    unsigned int highest_version = 0;
    const auto controller = FromBytes<orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA>(drive.identify_controller);
    orka::DecodeIdentifyController(controller, info, false, highest_version);
    if (!drive.namespaces.empty()) {
        const auto first =
            FromBytes<orka::ORKA_NVME_IDENTIFY_NAMESPACE_DATA>(drive.namespaces.front().identify);
        orka::DecodeIdentifyNamespace(first, info, false, controller.VER.get(), highest_version);
    }
    return info;
}

namespace {

const brantix_sim::Drive& DemoDrive() {
    static const brantix_sim::Drive drive =
        brantix_sim::LoadProfile(SourcePath("simulator/profiles/demo.json")).drives.at(0);
    return drive;
}

}  // namespace

const Json::Value& ReferenceInfo() {
    static const Json::Value info = [] {
        orka::ExpandParameterCatalogue();
        return DecodeDrive(DemoDrive());
    }();
    return info;
}

const orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA& ReferenceController() {
    static const auto controller =
        FromBytes<orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA>(DemoDrive().identify_controller);
    return controller;
}

std::string SourcePath(const std::string& relative) {
    return std::string(BRANTIX_SOURCE_DIR) + "/" + relative;
}

}  // namespace fuzz
