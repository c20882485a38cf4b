#include "batch/BatchRun.h"

#include "batch/Destination.h"
#include "files/PathText.h"
#include "text/NumberText.h"

#include <windows.h>

#include <atomic>
#include <list>
#include <memory>
#include <vector>

namespace wm {

namespace {

// How often the converters are read and the view redrawn.
constexpr DWORD kPollMs = 100;

std::atomic<int> g_userStops{0};

BOOL WINAPI OnConsoleStop(DWORD kind) {
    if (kind != CTRL_C_EVENT && kind != CTRL_BREAK_EVENT)
        return FALSE;
    ++g_userStops;
    return TRUE;
}

String OutcomeLine(const FileOutcome& o, size_t done, size_t total) {
    const String count = u"[" + IntToText(static_cast<int64_t>(done)) + u"/" +
                         IntToText(static_cast<int64_t>(total)) + u"] ";
    if (o.status == FileStatus::kConverted)
        return count + u"converted " + o.input + u" -> " + o.output;
    return count + u"FAILED " + o.input + u": " + o.reason;
}

class Batch {
  public:
    Batch(const std::vector<PlannedConversion>& plan, const ConversionSetup& setup, uint32_t jobs,
          ProgressView& view, const FileEnded& ended)
        : plan_(plan), setup_(setup), jobs_(jobs), view_(view), ended_(ended),
          startMs_(::GetTickCount64()) {
        for (const PlannedConversion& p : plan) {
            state_.bytesTotal += p.sourceBytes;
            state_.bytesWaiting[SourceType(p.source.path)] += p.sourceBytes;
        }
        state_.filesTotal = plan.size();
    }

    BatchResult Run() {
        while ((next_ < plan_.size() && !result_.stopped && result_.halted.empty()) ||
               !running_.empty()) {
            TendUserStops();
            // Ends are reaped before starting, so a slot freed is filled before the wait.
            PollRunning();
            StartMore();
            ShowProgress();
            WaitForAnEnd();
        }
        result_.notStarted = plan_.size() - next_;
        return std::move(result_);
    }

  private:
    uint64_t Now() const { return ::GetTickCount64() - startMs_; }

    void TendUserStops() {
        const int stops = g_userStops.load();
        if (stops >= 1 && !result_.stopped) {
            result_.stopped = true;
            view_.Line(u"Stopping: waiting for the running conversions (Ctrl-C again ends them).");
            for (auto& c : running_)
                c->Stop();
        }
        if (stops >= 2 && !killed_) {
            killed_ = true;
            for (auto& c : running_)
                c->Kill();
        }
    }

    void StartMore() {
        while (!result_.stopped && result_.halted.empty() && running_.size() < jobs_ &&
               next_ < plan_.size()) {
            auto c = std::make_unique<Conversion>(plan_[next_], setup_,
                                                  static_cast<uint32_t>(next_ + 1));
            state_.bytesWaiting[SourceType(plan_[next_].source.path)] -= plan_[next_].sourceBytes;
            ++next_;
            c->Start(Now());
            running_.push_back(std::move(c));
        }
    }

    void PollRunning() {
        for (auto it = running_.begin(); it != running_.end();) {
            if ((*it)->Poll(Now())) {
                ++it;
                continue;
            }
            FileOutcome o = (*it)->Finish(Now());
            if (o.status == FileStatus::kFailed)
                TendDestination(o, (*it)->Plan().sourceBytes);
            ++state_.filesDone;
            state_.bytesFinished += (*it)->Plan().sourceBytes;
            if (o.audioMs > 0) {
                state_.audioMsFinished += static_cast<uint64_t>(o.audioMs);
                MeasuredType& m = state_.measured[SourceType(o.input)];
                m.audioMs += static_cast<uint64_t>(o.audioMs);
                m.bytes += (*it)->Plan().sourceBytes;
            }
            ended_((*it)->Number(), o);
            view_.Line(OutcomeLine(o, state_.filesDone, state_.filesTotal));
            for (const String& note : o.notes)
                view_.Line(u"      " + note);
            result_.outcomes.push_back(std::move(o));
            it = running_.erase(it);
        }
    }

    // A failure the destination explains is named by it, and nothing more is started there.
    void TendDestination(FileOutcome& failed, uint64_t sourceBytes) {
        const String problem = DestinationProblem(FolderPart(failed.output), sourceBytes);
        if (problem.empty())
            return;
        failed.reason = problem + u" (" + failed.reason + u")";
        if (!result_.halted.empty())
            return;
        result_.halted = problem;
        view_.Line(u"Starting no more conversions: " + problem + u".");
    }

    // Sleeps until the next poll, or until a converter ends, so its slot is filled at once.
    void WaitForAnEnd() {
        std::vector<HANDLE> processes;
        for (auto& c : running_)
            if (c->Process() && processes.size() < MAXIMUM_WAIT_OBJECTS)
                processes.push_back(c->Process());
        // Nothing running: conversions that never started are reaped next, and when none is
        // left the batch is over, with nothing to wait for.
        if (!processes.empty())
            ::WaitForMultipleObjects(static_cast<DWORD>(processes.size()), processes.data(), FALSE,
                                     kPollMs);
    }

    void ShowProgress() {
        state_.running.clear();
        for (auto& c : running_)
            state_.running.push_back(c->Share());
        view_.Refresh(state_, Now());
    }

    const std::vector<PlannedConversion>& plan_;
    const ConversionSetup& setup_;
    const uint32_t jobs_;
    ProgressView& view_;
    const FileEnded& ended_;
    const uint64_t startMs_;
    std::list<std::unique_ptr<Conversion>> running_;
    size_t next_ = 0;
    bool killed_ = false;
    BatchProgressState state_;
    BatchResult result_;
};

} // namespace

BatchResult RunBatch(const std::vector<PlannedConversion>& plan, const ConversionSetup& setup,
                     uint32_t jobs, ProgressView& view, const FileEnded& ended) {
    ::SetConsoleCtrlHandler(OnConsoleStop, TRUE);
    BatchResult result = Batch(plan, setup, jobs, view, ended).Run();
    view.Close();
    return result;
}

} // namespace wm
