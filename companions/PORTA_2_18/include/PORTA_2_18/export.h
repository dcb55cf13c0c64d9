#pragma once

// Visible outside the shared library; everything else is hidden.
#define PORTA_2_18_API __attribute__((visibility("default")))
