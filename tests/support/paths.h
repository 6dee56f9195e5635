// Where the sources, what was built of them and the unpacked metadata of disks lie. Only one object of the tests knows,
// so that the others are the same in every folder.
#pragma once

#include <string>

std::string sourceDir();
std::string binaryDir();
std::string goldenDir();
