// The same race with the row that the lane must report.
#define KNOWN_BAD
#include "tests/race/raceTest.cpp"
