#include "nvme_admin_command.h"
