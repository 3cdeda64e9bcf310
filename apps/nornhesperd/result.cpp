#include "apps/nornhesperd/result.h"
