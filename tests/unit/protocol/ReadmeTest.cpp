// The README a user reads against the protocol's data: its table of the converter's options
// names exactly the options -help shows, and it names every parent line keyword.
#include "protocol/ConverterOptions.h"
#include "protocol/ParentLine.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

using namespace wm;

namespace {

std::string Readme() {
    std::ifstream file(WAVEMILL_README, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

// The `names` in the first column of the first table after "## Usage", lower case; a numbered
// option is written with an N ("dspeffectN").
std::set<std::string> UsageTableNames(const std::string& readme) {
    std::istringstream lines(readme.substr(readme.find("\n## Usage\n")));
    std::set<std::string> names;
    bool inTable = false;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("|")) {
            if (inTable)
                break;
            continue;
        }
        inTable = true;
        const std::string cell = line.substr(1, line.find('|', 1) - 1);
        for (size_t open = cell.find('`'); open != std::string::npos;
             open = cell.find('`', cell.find('`', open + 1) + 1))
            names.insert(cell.substr(open + 1, cell.find('`', open + 1) - open - 1));
    }
    return names;
}

} // namespace

TEST(Readme, TheOptionTableNamesWhatHelpShows) {
    const std::string readme = Readme();
    ASSERT_NE(readme.find("\n## Usage\n"), std::string::npos) << WAVEMILL_README;
    std::set<std::string> shown;
    for (const ConverterOption& o : ConverterOptions())
        if (!o.usage.empty())
            shown.insert(Narrow(o.name) + (o.numbered ? "N" : ""));
    EXPECT_EQ(UsageTableNames(readme), shown);
}

TEST(Readme, EveryParentLineKeywordIsNamed) {
    const std::string readme = Readme();
    for (ParentKeyword keyword : kParentKeywords) {
        const std::string line = Narrow(ParentLineText(keyword, u""));
        EXPECT_NE(readme.find(line), std::string::npos) << line;
    }
}
