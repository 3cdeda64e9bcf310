#include "apps/nornhesperd/configInfo.h"
