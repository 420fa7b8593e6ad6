// The read command type.
#include "brantix.h"
#include "orka.h"

// This build does not carry the read command type yet: end the run as an
// operational failure rather than pretend it ran.
int Read(Json::Value&) {
    throw orka::OrkaError("Command type read is not available in this build");
}
