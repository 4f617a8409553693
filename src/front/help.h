// help.h: what zprun says about itself.
#pragma once

void show_help();
void show_version();
