#pragma once

#include <QString>

#include <chrono>

// Keeps the clean-up of interrupted moves apart from moves under way, in this
// process and in any other Tessary process of the same user on the same
// system (the window and a command-line run, also under sudo): each move
// holds the lock shared, the clean-up needs it alone. The lock is an
// advisory lock on a file of the user's own (mode 0600 in a folder of mode
// 0700), so no other account can open it, let alone hold it; and no wait is
// without end.
class VTMoveLock
{
public:
    enum class Mode { Shared, Exclusive };

    // Takes the lock on the file at `path` (made when missing), waiting at
    // most `maxWait` when someone else holds it. Where the file cannot be
    // made or opened nothing is locked and the work goes on.
    VTMoveLock(const QString &path, Mode mode, std::chrono::milliseconds maxWait);
    ~VTMoveLock();

    VTMoveLock(const VTMoveLock &) = delete;
    VTMoveLock &operator=(const VTMoveLock &) = delete;

    // False when someone else still held it at the end of the wait.
    [[nodiscard]] bool isHeld() const { return m_held; }

    // The current user's lock file, in the Library of the home.
    [[nodiscard]] static QString userLockPath();
    // How long a move waits for the lock: 30 seconds, or the milliseconds
    // in TESSARY_MOVE_LOCK_WAIT_MS (read once; for tests).
    [[nodiscard]] static std::chrono::milliseconds moveWait();

private:
    int m_fd = -1;
    bool m_held = false;
};
