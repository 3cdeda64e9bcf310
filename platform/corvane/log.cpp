#include "platform/corvane/log.h"
