// Text, number and JSON file helpers.
#include "orka.h"

namespace orka {

void RethrowWithOrigin(const std::string& function, const std::string& path, unsigned int line) {
    std::string message;
    try {
        throw;
    } catch (const std::exception& caught) {
        message = caught.what();
    } catch (...) {
        message = "Unknown exception type";
    }
    throw std::runtime_error(message + "\n @ " + function + " " + path + " " + std::to_string(line));
}

}  // namespace orka
