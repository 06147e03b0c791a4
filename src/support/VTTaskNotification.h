#pragma once

#include <QString>

// Tells the suite's task scheduler, when it started the program, about
// progress and failures. Each post is a D-Bus signal on the session bus:
//
//   object path  /com/vantorel/Tessary/TaskNotification
//   interface    com.vantorel.Tessary.TaskNotification
//   signals      IncrementProgress()            one more item done
//                TaskFinished()                 the task ended
//                TaskError(int32 code)          failed with a status code
//                TaskErrorString(string text)   failed, with a message
//                Disconnect()                   no more notifications follow
//
// No well-known bus name is claimed, since several runs may be alive at once;
// a listener matches on the interface and tells runs apart by the sender.
// Without a session bus every post does nothing, and the log says so once.
// Safe to call from any thread.
class VTTaskNotification
{
public:
    static constexpr const char *ObjectPath = "/com/vantorel/Tessary/TaskNotification";
    static constexpr const char *Interface = "com.vantorel.Tessary.TaskNotification";

    static void postIncrementProgress();
    static void postTaskFinished();
    static void postTaskError(int code);
    static void postTaskErrorString(const QString &text);
    static void postDisconnect();

    // True when the session bus was reached. The first use decides for the
    // rest of the process.
    [[nodiscard]] static bool isConnected();
};
