#include "crash/MiniDumpWriter.h"

#include "crash/MiniDumpMemory.h"

#include <dbghelp.h>

namespace wm {

namespace {

BOOL CALLBACK AddMemory(void* param, const PMINIDUMP_CALLBACK_INPUT input,
                        PMINIDUMP_CALLBACK_OUTPUT output) {
    switch (input->CallbackType) {
    case MemoryCallback: {
        MemoryRange range;
        if (!static_cast<MemoryScan*>(param)->Next(&range))
            return FALSE;
        output->MemoryBase = range.base;
        output->MemorySize = range.size;
        return TRUE;
    }
    case CancelCallback:
        return FALSE; // never cancel, and stop asking
    default:
        return TRUE; // the library's defaults for modules and threads
    }
}

} // namespace

bool WriteMiniDump(HANDLE file, EXCEPTION_POINTERS* exception, DWORD threadId) {
    MINIDUMP_EXCEPTION_INFORMATION info{threadId, exception, FALSE};
    MemoryScan scan(*exception->ContextRecord);
    MINIDUMP_CALLBACK_INFORMATION callback{&AddMemory, &scan};
    return ::MiniDumpWriteDump(::GetCurrentProcess(), ::GetCurrentProcessId(), file,
                               MiniDumpWithUnloadedModules, &info, nullptr, &callback);
}

} // namespace wm
