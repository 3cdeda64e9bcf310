#include "platform/corvane/files.h"
