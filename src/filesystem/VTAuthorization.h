#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

class VTHelperClient;

// The one object through which the program does anything that needs
// administrator rights. Authorization is obtained once and kept for the life
// of the process: a privileged helper (tessary-helper, beside the program)
// started through the escalation command (VTLocalPaths::escalateCommand(),
// e.g. "pkexec" or "sudo -n") and fed argument vectors of the allow-listed
// tools. Run as the superuser, no helper is needed: the tools run directly
// through VTTaskEx and success is reported whatever they did.
//
// The auth...File operations hand their request over and return at once
// (authExecTask with async true); callers that need the result on disk wait
// for it, as VTFileManager's timeout forms do. The trash is the exception:
// it answers with the result, so that its record never outlives a failure.
class VTAuthorization
{
public:
    static constexpr int StatusSuccess = 0;
    static constexpr int StatusNotAuthorized = -1;
    static constexpr int StatusToolMissing = -2;

    // The singleton, created for a window run when it does not exist yet.
    static VTAuthorization *sharedController();
    // The singleton, created with or without a window (`gui`) when it does
    // not exist yet; a later call never changes an existing one.
    static VTAuthorization *sharedController(bool gui);

    VTAuthorization(const VTAuthorization &) = delete;
    VTAuthorization &operator=(const VTAuthorization &) = delete;

    // Obtains the right interactively (pkexec shows its dialog). True when
    // authorized afterwards.
    // Starts the privileged helper once for the process. Without a window
    // only an escalation that never asks for a password ("sudo -n") may run.
    [[nodiscard]] bool authStart();
    [[nodiscard]] static bool isNonInteractiveEscalation(const QStringList &command);
    // Obtains the right without a dialog: "sudo -S" with the password on its
    // standard input. The user must be the process's own account.
    [[nodiscard]] bool authStartWithUser(const QString &user, const QString &password);
    // Gives the right up: the helper ends.
    void authEnd();

    // True for the superuser or while the helper runs.
    [[nodiscard]] bool isAuthorized() const;
    // True with a window, or for the superuser.
    [[nodiscard]] bool canAuthorize() const;
    [[nodiscard]] bool hasGUI() const { return m_hasGUI.load(); }
    void setHasGUI(bool hasGUI) { m_hasGUI = hasGUI; }
    // The home of the user the program acts for; empty for the superuser.
    [[nodiscard]] QString userDirectory() const { return m_userDirectory; }

    [[nodiscard]] bool authRemoveFile(const QString &path);
    // Moves the item into the Trash by the rules of VTTrash (the trash of its
    // file system, a free name, nothing replaced, no record left after a
    // failure) and answers once it is there or has stayed where it was. With
    // `deleteOnRootAccount`, a superuser run without a user folder removes the
    // would-be trash destination instead and leaves the source where it is.
    [[nodiscard]] bool authTrashFile(const QString &path, bool deleteOnRootAccount = false);
    [[nodiscard]] bool authTrashFolderContents(const QString &folder, bool deleteOnRootAccount = false);
    [[nodiscard]] bool authMoveFolderContents(const QString &source, const QString &destination);
    // `newPath` is the full destination path, not a folder.
    [[nodiscard]] bool authMoveFile(const QString &oldPath, const QString &newPath);
    [[nodiscard]] bool authCopyFile(const QString &source, const QString &destination);
    [[nodiscard]] bool authCreateDir(const QString &path);

    // Runs an allow-listed tool (absolute path) as administrator: 0 success,
    // -1 not authorized, -2 tool missing, otherwise the error's number. With
    // `async`, returns once the request is handed over.
    [[nodiscard]] int authExecTask(const QString &tool, const QStringList &parameters, bool async = true);

    // The helper executable: beside the program, else the one in the build;
    // only one that root or this user owns and nobody else may change (empty
    // when there is none).
    [[nodiscard]] static QString helperPath();
    // A line on the system console (standard error).
    static void consoleLog(const QString &text);

private:
    explicit VTAuthorization(bool gui);
    ~VTAuthorization();

    [[nodiscard]] static bool isSuperuser();
    [[nodiscard]] bool startHelper(const QStringList &command, const std::optional<QByteArray> &password,
                                   const QByteArray &prompt = QByteArray());

    std::atomic<bool> m_hasGUI{true};
    QString m_userDirectory;
    std::mutex m_startMutex; // one authorization attempt at a time
    mutable std::mutex m_helperMutex;
    std::shared_ptr<VTHelperClient> m_helper;
};
