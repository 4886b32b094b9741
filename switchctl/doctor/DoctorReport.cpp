#include "switchctl/doctor/DoctorReport.h"

#include "switchctl/text/Text.h"

#include <vector>

namespace {

// One line of a reply is enough for a screen.
std::string firstLine(const std::string& words) {
    constexpr std::size_t ROOM = 90;
    const std::string line = Text::trim(words.substr(0, words.find('\n')));
    return Text::oneLine(line.size() > ROOM ? line.substr(0, ROOM) + "..." : line);
}

std::string askedWords(const VisitStage& stage) {
    const std::string who = stage.profile.empty() ? "" : " (" + stage.profile + ")";
    return stage.asked.empty() ? stage.name() : Text::oneLine(stage.asked + who);
}

std::vector<std::string> row(const VisitStage& stage) {
    const bool plain = stage.kind <= VisitStage::Kind::CONNECT;
    std::vector<std::string> columns = {
        "  " + (plain ? stage.name() + std::string(" ") + Text::oneLine(stage.asked) : askedWords(stage)),
        stage.outcomeName(), std::to_string(stage.milliseconds) + " ms"};
    if (const std::string words = firstLine(stage.words); !words.empty()) {
        columns.push_back(words);
    }
    return columns;
}

}  // namespace

std::string visitLines(const OutsideFacts& outside) {
    std::string text;
    for (const ServerVisit& visit : outside.visits) {
        std::vector<std::vector<std::string>> rows;
        for (const VisitStage& stage : visit.stages) {
            rows.push_back(row(stage));
        }
        text += std::string(visit.second ? "second" : "first") + " mail server " + Text::oneLine(visit.server) + "\n" +
                Text::table(rows);
    }
    return text;
}

Json visitsJson(const OutsideFacts& outside) {
    Json list = Json::array();
    for (const ServerVisit& visit : outside.visits) {
        Json stages = Json::array();
        for (const VisitStage& stage : visit.stages) {
            stages.add(Json()
                           .set("stage", stage.name())
                           .set("asked", stage.asked)
                           .set("profile", stage.profile)
                           .set("outcome", stage.outcomeName())
                           .set("words", stage.words)
                           .set("milliseconds", stage.milliseconds));
        }
        list.add(Json()
                     .set("server", visit.server)
                     .set("second", visit.second)
                     .set("works", visit.works())
                     .set("inPieces", visit.pieces.has_value())
                     .set("stages", stages));
    }
    return list;
}
