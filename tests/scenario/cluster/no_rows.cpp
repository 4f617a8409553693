// no_rows.cpp: the tests on the cluster play no rows.
#include "../case_player.h"

void scenario::register_rows() {}
