// A whole job end to end through RunProgram, in both modes. The input holds the map file
// and four more files, separated by "%%"; they are written as job.map, f1, f2, f3 and f4
// (a map names them as it likes). The generalized mode reads f1 and f2.

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "driver/Driver.h"

namespace {

int Run(std::vector<std::string> args)
{
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    std::ostringstream out;
    std::ostringstream err;
    return RunProgram(static_cast<int>(args.size()), argv.data(), out, err);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> files = SplitInput(data, size, 5);
    const ScratchDir& dir = Scratch();
    dir.Clear();
    dir.Write("job.map", files[0]);
    for (size_t i = 1; i < files.size(); ++i) dir.Write("f" + std::to_string(i), files[i]);

    const int deembedded = Run({"vora", "-filepath", dir.dir(), "-in", "job.map", "-out", "out.s4p"});
    const int generalized = Run({"vora", "GENERALIZEDSPARAM", "-filepath", dir.dir(), "-inputsfile1", dir.PathOf("f1"),
                                 "-inputsfile2", dir.PathOf("f2"), "-out", "g.txt"});
    if ((deembedded != 0 && deembedded != -1) || (generalized != 0 && generalized != -1)) __builtin_trap();
    return 0;
}
