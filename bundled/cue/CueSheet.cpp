#include "bundled/cue/CueSheet.h"

#include "text/NumberText.h"

namespace wm::cue {

namespace {

String Num(uint64_t n) {
    return IntToText(static_cast<int64_t>(n));
}

bool IsSpace(char16_t c) {
    return c == u' ' || c == u'\t';
}

String Upper(StringView text) {
    String out(text);
    for (char16_t& c : out)
        if (c >= u'a' && c <= u'z')
            c = static_cast<char16_t>(c - u'a' + u'A');
    return out;
}

// One line cut into words; a word in double quotes keeps its spaces.
class Words {
  public:
    explicit Words(StringView line) : line_(line) {}

    bool Next(String& word) {
        while (at_ < line_.size() && IsSpace(line_[at_]))
            ++at_;
        if (at_ >= line_.size())
            return false;
        word.clear();
        if (line_[at_] == u'"') {
            const size_t close = line_.find(u'"', at_ + 1);
            const size_t end = close == StringView::npos ? line_.size() : close;
            word = String(line_.substr(at_ + 1, end - at_ - 1));
            at_ = close == StringView::npos ? end : close + 1;
            return true;
        }
        while (at_ < line_.size() && !IsSpace(line_[at_]))
            word += line_[at_++];
        return true;
    }

    // What is left of the line, unquoted when it is one quoted word.
    String Rest() {
        while (at_ < line_.size() && IsSpace(line_[at_]))
            ++at_;
        StringView rest = line_.substr(at_);
        while (!rest.empty() && IsSpace(rest.back()))
            rest.remove_suffix(1);
        at_ = line_.size();
        if (rest.size() >= 2 && rest.front() == u'"' && rest.back() == u'"')
            rest = rest.substr(1, rest.size() - 2);
        return String(rest);
    }

  private:
    StringView line_;
    size_t at_ = 0;
};

bool ParseNumber(StringView text, uint64_t limit, uint64_t& value) {
    if (text.empty() || text.size() > 6)
        return false;
    value = 0;
    for (char16_t c : text) {
        if (c < u'0' || c > u'9')
            return false;
        value = value * 10 + (c - u'0');
    }
    return value <= limit;
}

String Quoted(StringView text) {
    return u"'" + String(text) + u"'";
}

class Parser {
  public:
    Parser(CueSheet& sheet, CueError& error) : sheet_(sheet), error_(error) {}

    bool Line(uint32_t number, StringView line) {
        line_ = number;
        Words words(line);
        String command;
        if (!words.Next(command))
            return true;
        const String upper = Upper(command);
        if (upper == u"FILE")
            return File(words);
        if (upper == u"TRACK")
            return Track(words);
        if (upper == u"INDEX")
            return Index(words);
        if (upper == u"TITLE")
            return Text(words, &CueTrack::title, sheet_.title);
        if (upper == u"PERFORMER")
            return Text(words, &CueTrack::performer, sheet_.performer);
        if (upper == u"ISRC")
            return Isrc(words);
        if (upper == u"REM")
            return Remark(words);
        // CATALOG, FLAGS, SONGWRITER, PREGAP, POSTGAP, CDTEXTFILE: nothing a track needs.
        return true;
    }

    bool Finish() {
        line_ = 0;
        if (sheet_.tracks.empty())
            return Fail(u"the sheet has no TRACK line");
        for (const CueTrack& track : sheet_.tracks)
            if (!track.hasIndex1) {
                line_ = track.line;
                return Fail(u"track " + Num(track.number) + u" has no INDEX 01");
            }
        return true;
    }

  private:
    bool Fail(String reason) {
        error_.line = line_;
        error_.reason = std::move(reason);
        return false;
    }

    CueTrack* Current() { return sheet_.tracks.empty() ? nullptr : &sheet_.tracks.back(); }

    bool File(Words& words) {
        String name;
        if (!words.Next(name) || name.empty())
            return Fail(u"FILE without a file name");
        sheet_.files.push_back({name, line_});
        return true;
    }

    bool Track(Words& words) {
        if (sheet_.files.empty())
            return Fail(u"TRACK before any FILE line");
        String word;
        uint64_t number = 0;
        if (!words.Next(word) || !ParseNumber(word, 99, number) || number == 0)
            return Fail(u"the track number must be 1 to 99, not " + Quoted(word));
        const CueTrack* previous = Current();
        if (previous && number <= previous->number)
            return Fail(u"track " + Num(number) + u" comes after track " + Num(previous->number));
        if (previous && !previous->hasIndex1)
            return Fail(u"track " + Num(previous->number) + u" has no INDEX 01");
        CueTrack track;
        track.number = static_cast<uint32_t>(number);
        track.file = sheet_.files.size() - 1;
        track.line = line_;
        sheet_.tracks.push_back(std::move(track));
        return true;
    }

    bool Time(StringView text, uint64_t& frames) {
        const size_t first = text.find(u':');
        const size_t second = first == StringView::npos ? first : text.find(u':', first + 1);
        uint64_t minutes = 0, seconds = 0, frame = 0;
        if (second == StringView::npos || !ParseNumber(text.substr(0, first), 99999, minutes) ||
            !ParseNumber(text.substr(first + 1, second - first - 1), 999, seconds) ||
            !ParseNumber(text.substr(second + 1), 999, frame))
            return Fail(u"the time " + Quoted(text) + u" is not mm:ss:ff");
        if (seconds > 59)
            return Fail(u"the time " + Quoted(text) + u" has more than 59 seconds");
        if (frame >= kFramesPerSecond)
            return Fail(u"the time " + Quoted(text) + u" has a frame above 74");
        frames = (minutes * 60 + seconds) * kFramesPerSecond + frame;
        return true;
    }

    // The INDEX 01 of the track before, when it lies in the same file.
    const CueTrack* EarlierInFile(const CueTrack& track) const {
        if (sheet_.tracks.size() < 2)
            return nullptr;
        const CueTrack& before = sheet_.tracks[sheet_.tracks.size() - 2];
        return before.file == track.file ? &before : nullptr;
    }

    bool Index(Words& words) {
        CueTrack* track = Current();
        if (!track)
            return Fail(u"INDEX outside a TRACK");
        String numberText, timeText;
        uint64_t number = 0, frames = 0;
        if (!words.Next(numberText) || !ParseNumber(numberText, 99, number))
            return Fail(u"the index number must be 0 to 99, not " + Quoted(numberText));
        if (!words.Next(timeText) || !Time(timeText, frames))
            return error_.reason.empty() ? Fail(u"INDEX without a time") : false;
        if (track->file != sheet_.files.size() - 1 && number <= 1)
            track->file = sheet_.files.size() - 1; // its audio begins in the newer FILE
        if (number == 0)
            return Index0(*track, frames);
        if (number == 1)
            return Index1(*track, frames);
        if (!track->hasIndex1 || frames < track->index1)
            return Fail(u"INDEX " + String(numberText) + u" " + timeText +
                        u" comes before the track's INDEX 01");
        return true;
    }

    bool Index0(CueTrack& track, uint64_t frames) {
        if (track.hasIndex1)
            return Fail(u"INDEX 00 after INDEX 01");
        track.hasIndex0 = true;
        track.index0 = frames;
        return OrderedAfterPrevious(track, frames);
    }

    bool Index1(CueTrack& track, uint64_t frames) {
        if (track.hasIndex1)
            return Fail(u"a second INDEX 01 in track " + Num(track.number));
        if (track.hasIndex0 && frames < track.index0)
            return Fail(u"INDEX 01 " + FramesText(frames) + u" comes before INDEX 00 " +
                        FramesText(track.index0));
        track.hasIndex1 = true;
        track.index1 = frames;
        track.index1Line = line_;
        return OrderedAfterPrevious(track, frames);
    }

    bool OrderedAfterPrevious(const CueTrack& track, uint64_t frames) {
        const CueTrack* before = EarlierInFile(track);
        if (before && frames <= before->index1)
            return Fail(u"track " + Num(track.number) + u" at " + FramesText(frames) +
                        u" does not come after track " + Num(before->number) + u" at " +
                        FramesText(before->index1));
        return true;
    }

    bool Text(Words& words, String CueTrack::*field, String& discField) {
        CueTrack* track = Current();
        (track ? track->*field : discField) = words.Rest();
        return true;
    }

    bool Isrc(Words& words) {
        CueTrack* track = Current();
        if (!track)
            return Fail(u"ISRC outside a TRACK");
        track->isrc = words.Rest();
        return true;
    }

    bool Remark(Words& words) {
        String name;
        if (!words.Next(name))
            return true;
        CueTrack* track = Current();
        (track ? track->remarks : sheet_.remarks).push_back({Upper(name), words.Rest()});
        return true;
    }

    CueSheet& sheet_;
    CueError& error_;
    uint32_t line_ = 0;
};

} // namespace

bool ParseCueText(StringView text, CueSheet& sheet, CueError& error) {
    sheet = CueSheet{};
    error = CueError{};
    Parser parser(sheet, error);
    uint32_t number = 0;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find_first_of(u"\r\n", start);
        if (end == StringView::npos)
            end = text.size();
        ++number;
        if (!parser.Line(number, text.substr(start, end - start)))
            return false;
        if (end < text.size() && text[end] == u'\r' && end + 1 < text.size() &&
            text[end + 1] == u'\n')
            ++end;
        start = end + 1;
    }
    return parser.Finish();
}

const CueRemark* FindRemark(const std::vector<CueRemark>& remarks, StringView name) {
    for (const CueRemark& remark : remarks)
        if (remark.name == name)
            return &remark;
    return nullptr;
}

String FramesText(uint64_t frames) {
    auto two = [](uint64_t n) { return (n < 10 ? u"0" : u"") + Num(n); };
    const uint64_t seconds = frames / kFramesPerSecond;
    return two(seconds / 60) + u":" + two(seconds % 60) + u":" + two(frames % kFramesPerSecond);
}

} // namespace wm::cue
