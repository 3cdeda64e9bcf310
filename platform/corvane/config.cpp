#include "platform/corvane/config.h"
