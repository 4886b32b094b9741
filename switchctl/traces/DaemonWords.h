// Every text of the daemon's traces that is recognised here; its event log has a catalogue of its own. DaemonWords_test
// holds each against the daemon's sources, so that no text there is changed without being changed here.
#pragma once

#include <string_view>

struct TraceWords {
    std::string_view module;
    std::string_view method;  // "": any
    std::string_view text;    // what the message begins with, or has in it
};

namespace DaemonWords {

// The start.
inline constexpr TraceWords STARTED = {"OrvApp", "OrvApp", "Application startup!"};
inline constexpr TraceWords START_FAILED = {"main", "createApplication", ""};
inline constexpr TraceWords LOOKUPS_UNSENT = {"OrvApp", "DSApiReady", "\n\"---- requiredAddressesInitialized() FAILED"};
inline constexpr TraceWords READY_UNSENT = {"OrvApp", "DSApiReady", "error from ready_for_conf"};
inline constexpr TraceWords CLOCK_STOPPED = {"OrvApp", "startTick", "the one-second timer could not be started"};
// A read of the configuration begins.
inline constexpr TraceWords READ_BEGINS = {"OrvCallHome", "readConfig", "Entry\n"};
// An event has told the switch's address.
inline constexpr TraceWords ADDRESS_TOLD = {"OrvCHMesgCommon", "setSwitchAddr",
                                            "CMON_IF_CHANGED event - Setting switch "};
// A message goes to the send thread.
inline constexpr TraceWords MESSAGE_OPENED = {"OrvCHMesgQ", "peekOpen", "entry ("};
// A message comes, goes into a list or out of one, and is done with: COMPLETED stands in it when it was mailed.
inline constexpr TraceWords MESSAGE_COMES = {"OrvCHMesgQ", "add", "testMsg = "};
inline constexpr TraceWords QUEUE_ADDS = {"OrvCHMesgQ", "addInternal", ""};
inline constexpr TraceWords QUEUE_REMOVES = {"OrvCHMesgQ", "removeInternal", ""};
inline constexpr TraceWords MESSAGE_DONE = {"OrvCHMesgQ", "peekDelete", ""};
inline constexpr std::string_view COMPLETED = " has completed processing";
// In front of an entry's number, and of the list that it comes to or leaves.
inline constexpr std::string_view ENTRY_BEGINS = "entry (";
inline constexpr std::string_view ADDED = " added to the ";
inline constexpr std::string_view REMOVED = " removed from the ";
// The same of the list that is mailed from.
inline constexpr const char* ADDED_TO_SEND = " added to the send queue";
inline constexpr const char* REMOVED_FROM_SEND = " removed from the send queue";
// An entry's file is written or goes; in front of its path.
inline constexpr TraceWords QUEUE_SAVES = {"OrvCHMesgQ", "saveEntryToFile", ""};
inline constexpr TraceWords QUEUE_DELETES = {"OrvCHMesgQ", "deleteEntryFile", ""};
inline constexpr std::string_view FILE_BEGINS = "file=";
// What goes on between the parts of one step, and a repeat of what is there.
inline constexpr TraceWords QUEUE_ORDERS = {"OrvCHMesgQ", "updateOrderFile", ""};
inline constexpr TraceWords QUEUE_CHORES = {"OrvCHMesgQ", "oneSecondChores", ""};
inline constexpr TraceWords QUEUE_TAKES = {"OrvCHMesgQ", "add", ""};
inline constexpr std::string_view REPEAT = "already on ";
// Why a message is not taken.
inline constexpr const char* TOO_LARGE = "message too big!";
inline constexpr const char* NO_ROOM = "unable to make room";
// All that the send thread asks the queue for begins with this.
inline constexpr std::string_view PEEKS = "peek";
// Rows of the table that follows a move: how many wait, early ones and others.
inline constexpr std::string_view EARLY_ROW = "\n    init ";
inline constexpr std::string_view WAITING_ROW = "\n    send ";
// In front of what the system says about a file.
inline constexpr TraceWords FILE_ERROR = {"OrvCHMesgQ", "saveEntryToFile", "errno = "};

// The last records of a send thread that has ended.
inline constexpr TraceWords THREAD_ENDS = {"OrvThread", "run", "Thread is terminating"};
inline constexpr TraceWords SENDER_ENDS = {"OrvCHClient", "runThread", "Terminating"};
inline constexpr TraceWords THREAD_GIVES_UP = {"OrvThread", "pushSwLogAppMesg", "thread exiting"};

// A dialogue with a mail server.
inline constexpr TraceWords HELLO = {"OrvSendDialogue", "presentClient", "Send SMTP client identity as "};
// A mail's way to one profile begins; the name and a bracket follow.
inline constexpr TraceWords ENVELOPE = {"OrvSendDialogue", "sendEnvelope", "Processing envelope["};
inline constexpr TraceWords SENT = {"OrvSMTPClient", "", "SMTP Send (incl CRLF) {"};
inline constexpr TraceWords RECEIVED = {"OrvSMTPClient", "", "SMTP StatusSMTPResponse (incl CRLF) {"};
// After the first failure of a series.
inline constexpr TraceWords CRITICAL_FAILURE = {"OrvSendDialogue", "reportCriticalFailure",
                                                "Critical protocol failure with SMTP server"};

// A capture begins; one has ended well.
inline constexpr TraceWords CAPTURE_BEGINS = {"OrvCHCapture", "handleExecMesg", "Entry\n"};
inline constexpr TraceWords CAPTURE_DONE = {"OrvCHCapture", "handleSucceedMesg", "CronCapture succeeded!"};

// A probe: its first record, its last, and those with lines of "key = value".
inline constexpr TraceWords PROBE_BEGINS = {"OrvCallHome", "probe", "Entry\n"};
inline constexpr TraceWords PROBE_ENDS = {"OrvCHMesgCommon", "probe", ""};
inline constexpr TraceWords STATE = {"OrvCallHome", "probe", "CallHome State Information:"};
inline constexpr TraceWords QUEUE = {"OrvCHMesgQ", "probe", "Call Home Message Queue Information:"};
inline constexpr TraceWords STATISTICS = {"OrvCHMesgQ", "probe", "Call Home Message Queue Internal Stats:"};
inline constexpr TraceWords CAPTURES = {"OrvCHCapture", "probe", "CronCapture Information:"};
inline constexpr TraceWords DIALOGUE = {"OrvCHClient", "probe", "SMTP Dialogue Information:"};
inline constexpr TraceWords PROFILE = {"OrvCHProfile", "dumpProfileInfo", "\nProfile Information:"};
// Their keys.
inline constexpr const char* PROFILE_NAME = "Name";
inline constexpr const char* PROFILE_LEVEL = "Level";
inline constexpr const char* PROCESSED = "ProcessedCount";
inline constexpr const char* RECIPIENT = "Email Addr[";  // and a number
inline constexpr const char* CAPTURE_DAY = "DayOfWeek";
inline constexpr const char* CAPTURE_TIME = "TimeOfDay";
inline constexpr const char* CAPTURE_WEEKS = "Interval";
inline constexpr const char* CAPTURE_ENABLED = "CaptureEnable";
inline constexpr const char* CAPTURE_NEXT = "NextExecution";
inline constexpr const char* THROTTLES = "throttleDuplicates";
inline constexpr const char* THROTTLE_PERIOD = "throttleDuplicatesPeriod";
inline constexpr const char* SPACE_IN_USE = "spaceInUse (total all queues)";
inline constexpr const char* DIALOGUE_NAME = "SMTPDialogue";  // none of the required dialogue
inline constexpr const char* CONDITION = "Condition";
inline constexpr const char* CONFIG = "Config";
inline constexpr const char* QUEUE_OPEN = "queueOpenForBusiness";
inline constexpr const char* QUEUE_SETTINGS_READ = "configDataRead";
inline constexpr const char* DELETED_FOR_SPACE = "messages deleted for space";
inline constexpr const char* DELETED_FOR_FILE_LIMIT = "messages deleted for file limit";
inline constexpr const char* DELETED_FOR_TIME = "messages deleted for time";
inline constexpr const char* DELETED_FOR_CLEAR = "messages deleted for clear req";
inline constexpr const char* PARKED = "message count (duplicate queue)";
inline constexpr const char* FILES_ALLOWED = "files allowed (send queue)";
inline constexpr const char* SPACE_ALLOWED = "spaceAllowed";
inline constexpr const char* CAPTURES_RUNNING = "executing";
inline constexpr const char* SENDER = "From";
inline constexpr const char* NOT_ADDED = "messages could not be added";
inline constexpr const char* RECEIVED_ALL = "total messages received";
inline constexpr const char* RECEIVED_TESTS = "test messages received";
inline constexpr const char* RECEIVED_REPEATS = "duplicate messages received";
inline constexpr const char* RESTORED = "reconstituted messages";
inline constexpr const char* MAILED = "messages send OK";
inline constexpr const char* OPEN_NOW = "currently open messages";
inline constexpr const char* EARLY = "message count (init queue)";
inline constexpr const char* WAITING = "message count (send queue)";
inline constexpr const char* PERSISTENT = "message count (persist queue)";

// The daemon's last words in a trace that it cannot go on with.
inline constexpr std::string_view FAREWELL = "Goodbye!";

}  // namespace DaemonWords
