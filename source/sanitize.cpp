// The sanitize command type.
#include "brantix.h"
#include "orka.h"

// This build does not carry the sanitize command type yet: end the run as an
// operational failure rather than pretend it ran.
int Sanitize(Json::Value&) {
    throw orka::OrkaError("Command type sanitize is not available in this build");
}
