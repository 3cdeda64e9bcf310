#include "platform/corvane/panic.h"
