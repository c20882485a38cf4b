// The second process of the cross-process tests. Modes:
//   block <base> <ready> <done>   open the 8-byte block, signal ready, add 1 to its value
//                                 (under its guard), signal done; exit 0 when the block
//                                 existed already
//   hold <ready> <release> <finished>     signal ready, wait for release, signal finished
//   lockfile <path> <ready> <release>     signal ready, hold path open without sharing until
//                                         released
//   speak <release>               write "to out" on standard output and "to err" on standard
//                                 error, wait for release, exit 7
//   chatter <bytes>               write that many bytes on standard output in lines, exit 8
#include "process/EventHandle.h"
#include "process/SharedMemoryBlock.h"
#include "process/UniqueHandle.h"
#include "process/WinString.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

using namespace wm;

namespace {

EventHandle OpenEvent(const char* name) {
    EventHandle e;
    e.CreateOrOpen(Widen(name));
    return e;
}

int Block(char** argv) {
    bool existed = false;
    SharedMemoryBlock block;
    if (!block.Open(Widen(argv[2]), 8, &existed))
        return 3;
    OpenEvent(argv[3]).Set();
    block.Lock();
    int64_t value = 0;
    block.Read(&value);
    ++value;
    block.Write(&value);
    block.Unlock();
    OpenEvent(argv[4]).Set();
    return existed ? 0 : 4;
}

int Hold(char** argv) {
    OpenEvent(argv[2]).Set();
    if (!OpenEvent(argv[3]).Wait(30000))
        return 5;
    OpenEvent(argv[4]).Set();
    return 0;
}

int LockFile(char** argv) {
    String path = Widen(argv[2]);
    UniqueHandle file(::CreateFileW(W(path), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return 6;
    OpenEvent(argv[3]).Set();
    return OpenEvent(argv[4]).Wait(60000) ? 0 : 5;
}

int Speak(char** argv) {
    DWORD written = 0;
    ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), "to out", 6, &written, nullptr);
    ::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), "to err", 6, &written, nullptr);
    return OpenEvent(argv[2]).Wait(30000) ? 7 : 5;
}

int Chatter(char** argv) {
    const long bytes = std::strtol(argv[2], nullptr, 10);
    static const char kLine[] = "MSGTO: Vrx: PCDone: 42 %, a line as long as a parent's line\r\n";
    for (long left = bytes; left > 0;) {
        const DWORD size = static_cast<DWORD>(std::min<long>(left, sizeof(kLine) - 1));
        DWORD written = 0;
        if (!::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), kLine, size, &written, nullptr))
            return 6;
        left -= static_cast<long>(written);
    }
    return 8;
}

} // namespace

int main(int argc, char** argv) {
    if (argc >= 5 && std::strcmp(argv[1], "block") == 0)
        return Block(argv);
    if (argc >= 5 && std::strcmp(argv[1], "hold") == 0)
        return Hold(argv);
    if (argc >= 5 && std::strcmp(argv[1], "lockfile") == 0)
        return LockFile(argv);
    if (argc >= 3 && std::strcmp(argv[1], "speak") == 0)
        return Speak(argv);
    if (argc >= 3 && std::strcmp(argv[1], "chatter") == 0)
        return Chatter(argv);
    return 2;
}
