// A shared library that calls back.
#pragma once

extern "C" {
/// Calls `visit` with each number below `count`, and gives the sum of what it gave.
unsigned long visitEach(unsigned long (*visit)(unsigned long), unsigned long count);
}
