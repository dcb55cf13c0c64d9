#pragma once

// The boundary of the library: what carries this is visible outside, everything else is hidden.
#define SAMPLEFOLD_1_API __attribute__((visibility("default")))
