#pragma once

// What the commands that walk many images share: finding them, and working through them
// on several threads with a progress bar.

#include <functional>
#include <string>
#include <vector>

namespace cli {

/// The image files (png, bmp, jpg, tif) of a folder in name order, or the one file named.
/// Throws frontend::InputError when there are none.
std::vector<std::string> listImages(const std::string& fileOrFolder);

/// Calls work(i) for every i below count on up to `jobs` threads, each taking the next
/// index in turn; draws a progress bar on stderr when it is a terminal. work must not
/// throw.
void forEachInParallel(size_t count, int jobs, const std::function<void(size_t)>& work);

} // namespace cli
