#pragma once

// The command-line tool's own messages and the image decoders' chatter, kept apart.
//
// Image decoders print warnings of their own (libpng's notes on colour profiles, for
// one) straight to the process's standard error. The tool points standard error at
// /dev/null while images are read and writes its messages, progress and summaries
// through a duplicate of the original standard error made at start-up, so those still
// reach the user while the decoders are silenced.

#include "ToolDefinition.h"

#include <cstdio>
#include <string>

namespace cli {

/// The user's standard error, as it was when the tool started. Never silenced.
std::FILE* userErr();

/// True when the user's standard error is a terminal (progress is drawn as a bar).
bool userErrIsTerminal();

/// While at least one of these lives, standard error (file descriptor 2) points at
/// /dev/null. Safe to nest and to hold on several threads at once: the last one to go
/// restores it.
class QuietDecoders {
public:
    QuietDecoders();
    ~QuietDecoders();
    QuietDecoders(const QuietDecoders&) = delete;
    QuietDecoders& operator=(const QuietDecoders&) = delete;
};

/// frontend::loadImage with the decoders silenced.
cv::Mat readImage(const std::string& path);

} // namespace cli
