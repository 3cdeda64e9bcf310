#include "platform/corvane/format.h"
