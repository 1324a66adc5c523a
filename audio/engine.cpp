#include "audio/engine.h"
#include "audio/null_engine.h"
