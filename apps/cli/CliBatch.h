#pragma once

// What the commands that walk many images share: finding them, and working through them
// on several threads with progress on the user's standard error.

#include <functional>
#include <string>
#include <vector>

namespace cli {

/// The image files (png, bmp, jpg, tif) of a folder in name order, or the one file named.
/// Throws frontend::InputError when there are none.
std::vector<std::string> listImages(const std::string& fileOrFolder);

/// Throws frontend::InputError unless jobs is at least 1.
void checkJobs(int jobs);

/// Calls work(i) for every i below count on up to `jobs` threads, each taking the next
/// index in turn. Progress goes to the user's standard error: a bar on a terminal, a line
/// "what: done/count images done" every few seconds otherwise. work must not throw.
void forEachInParallel(size_t count, int jobs, const char* what, const std::function<void(size_t)>& work);

} // namespace cli
