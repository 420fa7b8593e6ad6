#include "orka_nvme.h"
