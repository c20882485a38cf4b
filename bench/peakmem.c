/* Runs a command line as a Windows child process and reports the child's own peak memory
 * figures from GetProcessMemoryInfo: peak working set and peak private bytes (pagefile usage).
 *
 * Usage: peakmem.exe PROGRAM [ARGUMENTS...]
 * Prints one line to standard error:
 *   peakmem working_set_mb=W private_mb=P samples=N exit=C
 * Standard output and input are left to the child.
 *
 * Windows keeps the figures of an ended process, so the query after the exit is exact there.
 * Wine answers only while the child's Linux process is alive (it reads /proc/<pid>/status) and
 * reports the current anonymous memory as the "peak" private bytes, so the child is also
 * sampled every few milliseconds while it runs and the largest values are kept. */
#include <windows.h>

/* needs the types of windows.h */
#include <psapi.h>
#include <stdio.h>
#include <wchar.h>

typedef struct {
    SIZE_T working_set;
    SIZE_T private_bytes;
    unsigned samples;
} Peaks;

static void sample(HANDLE process, Peaks* peaks) {
    PROCESS_MEMORY_COUNTERS counters;
    if (!GetProcessMemoryInfo(process, &counters, sizeof counters)) {
        return;
    }
    if (counters.PeakWorkingSetSize > peaks->working_set) {
        peaks->working_set = counters.PeakWorkingSetSize;
    }
    if (counters.PeakPagefileUsage > peaks->private_bytes) {
        peaks->private_bytes = counters.PeakPagefileUsage;
    }
    peaks->samples++;
}

/* The child's command line is ours without our own program name, kept verbatim so that its
 * quoting reaches the child unchanged. */
static wchar_t* child_command_line(void) {
    wchar_t* p = GetCommandLineW();
    if (*p == L'"') {
        for (++p; *p && *p != L'"'; ++p) {
        }
        if (*p) {
            ++p;
        }
    } else {
        while (*p && *p != L' ' && *p != L'\t') {
            ++p;
        }
    }
    while (*p == L' ' || *p == L'\t') {
        ++p;
    }
    return p;
}

int main(void) {
    const wchar_t* rest = child_command_line();
    if (!*rest) {
        fprintf(stderr, "usage: peakmem.exe PROGRAM [ARGUMENTS...]\n");
        return 2;
    }
    /* CreateProcessW may write into the command line, so it gets a private copy. */
    size_t length = wcslen(rest) + 1;
    wchar_t* command = HeapAlloc(GetProcessHeap(), 0, length * sizeof(wchar_t));
    if (!command) {
        return 2;
    }
    memcpy(command, rest, length * sizeof(wchar_t));

    STARTUPINFOW startup;
    ZeroMemory(&startup, sizeof startup);
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child;
    if (!CreateProcessW(NULL, command, NULL, NULL, TRUE, 0, NULL, NULL, &startup, &child)) {
        fprintf(stderr, "peakmem: cannot start the child (error %lu)\n", GetLastError());
        return 2;
    }
    CloseHandle(child.hThread);

    Peaks peaks = {0, 0, 0};
    while (WaitForSingleObject(child.hProcess, 2) == WAIT_TIMEOUT) {
        sample(child.hProcess, &peaks);
    }
    sample(child.hProcess, &peaks); /* exact on Windows; fails quietly under Wine */

    DWORD exit_code = 0;
    GetExitCodeProcess(child.hProcess, &exit_code);
    CloseHandle(child.hProcess);
    fprintf(stderr, "peakmem working_set_mb=%.1f private_mb=%.1f samples=%u exit=%lu\n",
            peaks.working_set / 1048576.0, peaks.private_bytes / 1048576.0, peaks.samples,
            exit_code);
    return peaks.samples ? 0 : 1;
}
