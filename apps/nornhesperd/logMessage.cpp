#include "apps/nornhesperd/logMessage.h"
