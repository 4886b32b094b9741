// Answers of the attribute store: decoded here, and handed to the controller when their id is one that is asked for
// in that way.
//
// Main thread only.
#pragma once

class dsClient;
class Hsb_Message;
class OrvCallHome;

class OrvStoreAnswers {
public:
    // Both must outlive this object.
    OrvStoreAnswers(const dsClient& store, OrvCallHome& callHome) : store_(store), callHome_(callHome) {}

    // -1 when the answer was of no use.
    int process(const Hsb_Message& message);

private:
    int processDsAttribute(const Hsb_Message& message);
    int processDsAttributeBulk(const Hsb_Message& message);
    int processDsStatus(const Hsb_Message& message);

    const dsClient& store_;
    OrvCallHome& callHome_;
};
