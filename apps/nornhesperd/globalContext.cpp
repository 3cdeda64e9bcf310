#include "apps/nornhesperd/globalContext.h"
