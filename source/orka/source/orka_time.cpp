#include "orka.h"
