#include <unistd.h>

#include <exception>
#include <iostream>

#include "premoov/commands.h"

// Every failure ends in a message and an exit code, never in a crash: the commands report bad
// input themselves, and anything thrown past them (out of memory, say) is caught here.
int main(int argc, char** argv) {
  try {
    return premoov::runCommandLine(argc, argv, std::cout, std::cerr, isatty(STDOUT_FILENO) == 1);
  } catch (const std::exception& e) {
    std::cerr << "premoov: " << e.what() << '\n';
  } catch (...) {
    std::cerr << "premoov: unexpected failure\n";
  }
  return premoov::kExitBadInput;
}
