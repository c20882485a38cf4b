// dsprun [-block=<ms>] [-emptyend] <program folder> <in.raw> <format> <out.raw>
// <Effect=settings>...
//     Runs the effects <program folder>\DSPs\<Effect>.dll in the order given over the raw PCM
//     file <in.raw>, as the host's chain does when it renders, and writes <out.raw>. <format> is
//     "<rate>:<channels>:<u8|s16|s24|s32|f32|f64>[:ext]"; the format of the output is printed in
//     the same form. Each argument names an effect as -dspeffectN does ("Volume=gain=-3").
// Exit status 0 on success; 1 when an effect fails (the reason on standard error); 2 for bad
// arguments.
#include "tests/unit/dsp/DspDriver.h"

#include <shellapi.h>

#include <cstdio>
#include <cwchar>

namespace {

using wm::test::DriveOptions;
using wm::test::DspDriver;

int Usage() {
    std::fprintf(stderr, "usage: dsprun [-block=<ms>] [-emptyend] <program folder> <in.raw> "
                         "<rate:channels:encoding> <out.raw> <Effect=settings>...\n");
    return 2;
}

int RunChain(const DriveOptions& options, wchar_t** args, int count) {
    const std::wstring program = args[0], out = args[3];
    WmWaveFormat format{};
    if (!wm::test::ParseFormat(args[2], format))
        return Usage();
    std::wstring source = args[1];
    for (int i = 4; i < count; ++i) {
        const std::wstring effect = args[i];
        const size_t eq = effect.find(L'=');
        DspDriver driver(options);
        if (!driver.Load(program, effect.substr(0, eq)) ||
            !driver.Run(eq == std::wstring::npos ? L"" : effect.substr(eq + 1), source, out,
                        format)) {
            std::fprintf(stderr, "dsprun: %ls\n", driver.Error().c_str());
            return 1;
        }
        source = out;
    }
    std::printf("%s\n", wm::test::FormatText(format).c_str());
    return 0;
}

} // namespace

int main() {
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    DriveOptions options;
    int first = 1;
    for (; first < argc && argv[first][0] == L'-'; ++first) {
        if (std::wcscmp(argv[first], L"-emptyend") == 0)
            options.emptyLastBlock = true;
        else if (std::swscanf(argv[first], L"-block=%u", &options.blockMs) != 1 ||
                 options.blockMs == 0)
            return Usage();
    }
    if (argc - first < 5)
        return Usage();
    return RunChain(options, argv + first, argc - first);
}
