// Features: reading the controller's current settings with Get Features and decoding them.
#pragma once

#include <json/json.h>

#include <string>

#include "orka_data.h"
#include "orka_linux.h"

namespace orka {

// One Get Features (0Ah) for namespace `nsid` (0: the controller), current value, dword 11
// `cdw11`. `result` receives completion dword 0; `buffer` and `length` are the data buffer (null
// and 0 for none). Returns 0, the errno of a failed request or the NVMe status the controller
// rejected it with.
int ReadFeature(int fd, unsigned int featureId, unsigned int cdw11, unsigned int* result,
                unsigned char* buffer, int length, Json::Value& commands, Json::Value& record,
                unsigned int nsid = 0);
// The same command, marked as one a drive may refuse (its failure is logged at debug level).
int ReadOptionalFeature(int fd, unsigned int featureId, unsigned int cdw11, unsigned int* result,
                        unsigned char* buffer, int length, Json::Value& commands, Json::Value& record,
                        unsigned int nsid = 0);

// Each reads one feature when its "read feature NNh" setting is on and the controller supports it,
// and adds its parameters to info "nvme" / "parameters". 0 when skipped or decoded, 1 when a command
// failed or anything threw. A drive that rejects the feature as not offered has it listed as not
// supported (0). Features set per namespace (05h) go to namespace `nsid`, and are not read when it
// is 0 (no active namespace); every other feature goes to the controller (namespace 0).
int GetFeature01(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature02(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature04(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature05(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature06(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature08(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature0A(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature0B(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature0C(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature0D(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature0E(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature0F(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature10(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature11(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature12(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature13(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature14(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);
int GetFeature15(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid = 0);

// The decode steps, apart from the reads so that they run on any dword and buffer. `dword` is
// completion dword 0, `buffer` the `length` bytes the command returned (null and 0 for none).
// Adds the feature's parameters to `parameters`; throws OrkaError for a feature without a
// decoder and for a buffer too short for what it must hold.
void DecodeFeature(unsigned int featureId, unsigned int dword, const unsigned char* buffer,
                   unsigned int length, const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller,
                   Json::Value& parameters);
// Feature 04h for one temperature: `label` is "Composite Temperature" or "Temperature Sensor N",
// the dwords are the answers to the over and under threshold selectors.
void DecodeTemperatureThresholds(const std::string& label, unsigned int over, unsigned int under,
                                 Json::Value& parameters);

// Every feature the drive information collects, in its order (01h, 02h, 04h, 05h, 06h, 08h, 0Ah,
// 0Bh, 0Ch, 0Dh, 0Eh, 0Fh, 10h, 11h). Feature 04h needs the health log's temperature sensors in
// `info` first. Failures show in the command records. `nsid` is the lowest active namespace, 0 for
// none.
void GetFeatures(int fd, Json::Value& info, Json::Value& record, const Json::Value& settings,
                 const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, unsigned int nsid);

}  // namespace orka
