#include "platform/corvane/crypto.h"
