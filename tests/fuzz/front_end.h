// Running the front end's command line and command file step as the tool's main
// does, inside a scratch directory of the fuzzer's own.
#pragma once

#include <string>
#include <vector>

namespace fuzz {

// Makes the scratch directory the current one, with a copy of every ready-made
// command file in it, and sends the console output to /dev/null.
void EnterFrontEndScratch();

// Runs the command line and command file step on `args` (the program name
// comes first) as a fresh process would, catching what main catches, then
// removes whatever the run left in the scratch directory.
void RunFrontEnd(const std::vector<std::string>& args);

}  // namespace fuzz
