// Stands in for the correction data download tool: it marks that it ran by creating the file
// named in TQ4_TOOL_RAN.
#include <cstdlib>
#include <fstream>

int main() {
    const char* mark = std::getenv("TQ4_TOOL_RAN");
    return mark && std::ofstream(mark) ? 0 : 1;
}
