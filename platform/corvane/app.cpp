#include "platform/corvane/app.h"
