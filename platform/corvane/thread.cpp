#include "platform/corvane/thread.h"
