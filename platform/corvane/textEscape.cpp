#include "platform/corvane/textEscape.h"
