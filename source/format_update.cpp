// The format and update command types: reserved names that do no work yet.
// The command file check refuses both types, so no run reaches them today.
#include "brantix.h"

int Format(Json::Value&) {
    return 0;
}

int Update(Json::Value&) {
    return 0;
}
