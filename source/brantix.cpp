// Entry point (filled in with the front end).
#include "brantix.h"

const std::string APP_NAME = "brantix";
const std::string APP_VERSION = "0.9.8.0";

int main(int, const char**) { return 17; }
