// Information documents decoded from the simulator's drive profiles: what a
// read of a simulated drive holds, for the targets that compare and verify.
#pragma once

#include <json/json.h>

#include <string>

#include "orka_data.h"
#include "profile.h"

namespace fuzz {

// The Identify Controller and namespace parameters of one simulated drive, as the
// collection files them under "nvme" / "parameters". Needs the expanded catalogue.
Json::Value DecodeDrive(const brantix_sim::Drive& drive);

// The first drive of the demo profile, decoded once per process.
const Json::Value& ReferenceInfo();

// The demo drive's Identify Controller record, for decoders that consult it.
const orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA& ReferenceController();

// A file of the source tree, given relative to its root.
std::string SourcePath(const std::string& relative);

}  // namespace fuzz
