#pragma once
// Copies a file byte for byte in large blocks. The output is complete or absent: a stop or a
// failure removes it.

#include <string>

#include "core/runtime.h"

// Non-zero on success; 0 when the input cannot be read, the output cannot be written, or the stop
// flag was set (checked between blocks). `progress` (may be null) runs over the input's length.
int CopyUVXFile(const std::string& from, const std::string& to, ProgressSink* progress, StopFlag* stop);
