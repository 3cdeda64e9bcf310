#include "apps/nornhesperd/signalChecker.h"
