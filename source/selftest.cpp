// The self-test command type.
#include "brantix.h"
#include "orka.h"

// This build does not carry the self-test command type yet: end the run as an
// operational failure rather than pretend it ran.
int SelfTest(const Json::Value&) {
    throw orka::OrkaError("Command type self-test is not available in this build");
}
