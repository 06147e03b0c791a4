#pragma once

#include <QString>

// Keeps the clean-up of interrupted moves apart from moves under way, in this
// process and in any other Tessary process working on the same system (the
// window and a command-line run of the task scheduler): each move holds the
// lock shared, the clean-up needs it alone. The lock is an advisory lock on a
// folder that is never removed (the one holding the disabled-plugins root),
// so every process locks the same thing; where it cannot be opened nothing
// is locked and the moves go on.
class VTMoveLock
{
public:
    enum class Mode { Shared, Exclusive };

    // Takes the lock on `folder`; waits for it when `wait`, else gives up at
    // once when someone else holds it.
    VTMoveLock(const QString &folder, Mode mode, bool wait);
    ~VTMoveLock();

    VTMoveLock(const VTMoveLock &) = delete;
    VTMoveLock &operator=(const VTMoveLock &) = delete;

    // False when someone else held it and `wait` was not given.
    [[nodiscard]] bool isHeld() const { return m_held; }

private:
    int m_fd = -1;
    bool m_held = false;
};
