// launch_state.cpp: the one launch state.
#include "core/launch_state.h"

launch_state state;
