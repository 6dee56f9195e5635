// The same as C++.
#include "beside_kit.c"
