#include "platform/corvane/system.h"
