// The vocabulary of message files: every tag, named once for the writer, the reader and the size estimate.
#pragma once

#include <string_view>

namespace orv_mesg_tags {

inline constexpr std::string_view kMesg = "<OrvCHMesg>";
inline constexpr std::string_view kMesgEnd = "</OrvCHMesg>";
inline constexpr std::string_view kDupCnt = "<DupCnt>";
inline constexpr std::string_view kDupTime = "<DupTime>";
inline constexpr std::string_view kTime = "<Time>";
inline constexpr std::string_view kId = "<ID>";
inline constexpr std::string_view kText = "<Text>";
inline constexpr std::string_view kEnvelopeList = "<EnvelopeList>";
inline constexpr std::string_view kEnvelopeListEnd = "</EnvelopeList>";

inline constexpr std::string_view kLevel = "<Level>";
inline constexpr std::string_view kBlade = "<Blade>";
inline constexpr std::string_view kAsic = "<ASIC>";
inline constexpr std::string_view kPort = "<Port>";
inline constexpr std::string_view kVid = "<VID>";
inline constexpr std::string_view kApp = "<App>";
inline constexpr std::string_view kComp = "<Comp>";

inline constexpr std::string_view kCronSeq = "<CronSeq>";
inline constexpr std::string_view kCronDay = "<CronDay>";
inline constexpr std::string_view kCronTime = "<CronTime>";
inline constexpr std::string_view kCronInterval = "<CronInterval>";
inline constexpr std::string_view kCronShell = "<CronShell>";
inline constexpr std::string_view kCronCommand = "<CronCommand>";
inline constexpr std::string_view kCronAttchList = "<CronAttchList>";
inline constexpr std::string_view kCronAttchListEnd = "</CronAttchList>";

inline constexpr std::string_view kEnvelope = "<OrvCHEnvelope>";
inline constexpr std::string_view kEnvelopeEnd = "</OrvCHEnvelope>";
inline constexpr std::string_view kMaxSize = "<MaxSize>";
inline constexpr std::string_view kType = "<Type>";
inline constexpr std::string_view kProfile = "<Profile>";
inline constexpr std::string_view kSubj = "<Subj>";
inline constexpr std::string_view kRcptList = "<RcptList>";
inline constexpr std::string_view kRcptListEnd = "</RcptList>";

// Ends every simple element.
inline constexpr std::string_view kEndOfRecord = "</->";

}  // namespace orv_mesg_tags
