// The capture thread's side: one capture per message, one result per capture.
#include "capture/OrvCHCapture.h"
#include "capture/OrvCaptureMesgs.h"
#include "dbg/OrvDbg.h"
#include "mesg/OrvCHMesg.h"

#include <unistd.h>

#include <cerrno>
#include <exception>
#include <new>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHCapture";

[[noreturn]] void exitWithoutMemory() {
    ORV_TRACE("no memory for the result, exiting\n");
    _exit(1);
}

}  // namespace

int OrvCHCapture::runThread() {
    const int result = runDispatcher();
    if (result < 0) {
        ORV_TRACE("handle_events failed\n");
    }
    ORV_TRACE("Terminating\n");
    return result;
}

void OrvCHCapture::handleThreadMesg(OrvToThreadMesg* mesg) {
    ORV_TRACE("Entry\n");
    if (const auto* exec = dynamic_cast<const OrvCHCaptureExec*>(mesg)) {
        handleExecMesg(*exec);
        return;
    }
    ORV_TRACE("Unrecognized message ID [%d] sent from main thread\n", static_cast<int>(mesg->code()));
}

void OrvCHCapture::handleExecMesg(const OrvCHCaptureExec& mesg) {
    ORV_TRACE("Entry\n");
    std::unique_ptr<OrvCHMesg> result;
    int error = 0;
    if (execCapture(mesg.capture(), result, error) == 0) {
        pushSucceedMesg(mesg.capture(), std::move(result));
    } else {
        pushFailMesg(mesg.capture(), error);
    }
}

// A failure of our own files or memory fails this capture, not the thread; anything else that is thrown ends it.
int OrvCHCapture::execCapture(const OrvStartedCapture& capture, std::unique_ptr<OrvCHMesg>& mesg, int& error) {
    try {
        const int result = run_.execute(capture, mesg);
        error = errno;
        return result;
    } catch (const std::bad_alloc&) {
        error = ENOMEM;
    } catch (const std::exception& exception) {
        error = errno != 0 ? errno : EIO;
        ORV_TRACE("%s\n", exception.what());
    }
    return -1;
}

void OrvCHCapture::pushSucceedMesg(const OrvStartedCapture& capture, std::unique_ptr<OrvCHMesg> mesg) {
    std::unique_ptr<OrvCHCaptureSucceed> succeed(new (std::nothrow) OrvCHCaptureSucceed(capture, std::move(mesg)));
    if (!succeed) {
        exitWithoutMemory();
    }
    if (pushToMain(std::move(succeed)) < 0) {
        ORV_TRACE("no way to the main thread\n");
    }
}

void OrvCHCapture::pushFailMesg(const OrvStartedCapture& capture, int error) {
    std::unique_ptr<OrvCHCaptureFail> fail(new (std::nothrow) OrvCHCaptureFail(capture, error));
    if (!fail) {
        exitWithoutMemory();
    }
    if (pushToMain(std::move(fail)) < 0) {
        ORV_TRACE("no way to the main thread\n");
    }
}
