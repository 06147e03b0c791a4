#include "VTInstallerBuilder.h"

#include "VTException.h"
#include "VTFileManager.h"
#include "VTInstallerDisplay.h"
#include "VTLocalPaths.h"
#include "VTLog.h"
#include "VTMainThread.h"
#include "VTPath.h"
#include "VTPropertyList.h"
#include "VTTaskEx.h"
#include "VTUserDefaults.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <sys/stat.h>

namespace {

using namespace std::chrono_literals;

const char *const MethodName = "-[AppController createInstallerWithSettings:]";

QString unableToCreate()
{
    return QStringLiteral("Unable to create installer");
}

// True when anything is at the path, a dangling link included.
bool somethingAt(const QString &path)
{
    struct stat status {};
    return ::lstat(VTPath::toNative(path).constData(), &status) == 0;
}

bool fileGiven(const QString &path)
{
    return !path.isEmpty() && QFileInfo::exists(path);
}

} // namespace

VTInstallerBuilder::VTInstallerBuilder(VTInstallerDisplay &display, QString templatePath)
    : m_display(display)
    , m_templatePath(std::move(templatePath))
{
}

VTInstallerBuilder::~VTInstallerBuilder()
{
    // A running build calls the display: it must end while that still exists.
    waitForBuilds();
}

QString VTInstallerBuilder::defaultTemplatePath()
{
    return VTPath::join(QCoreApplication::applicationDirPath(), QStringLiteral("Plugin Installer.app"));
}

QString VTInstallerBuilder::codesignPath()
{
    return VTLocalPaths::systemPath(QStringLiteral("/usr/bin/codesign"));
}

QString VTInstallerBuilder::structurePath(const QString &pluginPath)
{
    // The whole home prefix is replaced: a Linux home need not be
    // /Users/<name>, and one inside the system root is still the home.
    const QString home = VTLocalPaths::userDirectory();
    if (!home.isEmpty() && home != QLatin1String("/") && VTPath::isInside(pluginPath, home))
        return VTPath::join(QStringLiteral("/Users/user"), VTPath::normalize(pluginPath).mid(VTPath::normalize(home).size()));
    return VTLocalPaths::stripSystemRoot(pluginPath);
}

bool VTInstallerBuilder::installerSavePanelDidEnd(const QString &chosen, const QList<ItemPtr> &selection,
                                                  const VTInstallerSettings &form)
{
    const QStringList files = VTInstallerSettings::fileList(selection);
    if (files.isEmpty()) {
        showSheet(unableToCreate(), QStringLiteral("No files to add. Make sure you didn't select an empty group."));
        return false;
    }
    start(VTInstallerSettings::fromDefaults(VTInstallerSettings::destinationFilename(chosen), form.installerName,
                                            form.installerVersion, form.installerAuthor, files, form.certificate));
    return true;
}

void VTInstallerBuilder::start(const VTInstallerSettings &settings)
{
    m_threads.start(MethodName, [this, settings] { (void)createInstallerWithSettings(settings); });
}

bool VTInstallerBuilder::waitForBuilds(std::chrono::milliseconds timeout)
{
    return m_threads.waitForAll(timeout);
}

bool VTInstallerBuilder::createInstallerWithSettings(const VTInstallerSettings &settings)
{
    bool created = false;
    VTMainThread::runAndWait([this] { m_display.startSpinner(); });
    try {
        VTLog::appendLog(QStringLiteral("Creating installer at %1...").arg(settings.destFilename));
        created = build(settings) && sign(settings);
        if (created) {
            VTLog::appendLog(QStringLiteral("Installer created at %1").arg(settings.destFilename));
            showSheet(QStringLiteral("Installer created"),
                      QStringLiteral("An installer was successfully created at %1.").arg(settings.destFilename));
        }
    } catch (const std::exception &exception) {
        VTException::logException(exception, MethodName);
    } catch (...) {
        VTException::logCurrentException(MethodName);
    }
    VTMainThread::runAndWait([this] { m_display.stopSpinner(); });
    return created;
}

bool VTInstallerBuilder::build(const VTInstallerSettings &settings)
{
    const QString destination = settings.destFilename;
    if (somethingAt(destination))
        (void)VTFileManager::trashFile(destination, VTFileManager::Seconds(10));

    if (!QFileInfo(m_templatePath).isDir()) {
        VTLog::appendLog(QStringLiteral("Installer template missing: %1").arg(m_templatePath));
        return fail(unableToCreate(),
                    QStringLiteral("This application may be damaged. It is recommended that you reinstall Hearthkit."));
    }
    if (!VTFileManager::copyFile(m_templatePath, destination))
        return fail(unableToCreate(), QStringLiteral("Failed to copy files."));

    const QString resources = VTPath::join(destination, QStringLiteral("Contents/Resources"));
    const QString structure = VTPath::join(resources, QStringLiteral("PluginStructure"));
    for (const QString &file : settings.files) {
        if (!somethingAt(file))
            return fail(QStringLiteral("File doesn't exist"), QStringLiteral("The plugin %1 no longer exists.").arg(file));
        const QString folder = VTPath::join(structure, VTPath::removeLastComponent(structurePath(file)));
        if (!VTFileManager::isDirectoryAtPath(folder))
            (void)VTFileManager::createDirectory(folder, VTFileManager::Seconds(10));
        // Not checked: a plug-in that fails to copy is missing from the
        // installer, and the copy has logged why.
        (void)VTFileManager::copyFile(file, VTPath::join(folder, VTPath::lastComponent(file)));
    }

    if (fileGiven(settings.installerEULAPath)
        && !copyResource(settings.installerEULAPath, resources,
                         QStringLiteral("Cannot copy EULA file. Make sure you have write permissions to the destination.")))
        return false;
    if (fileGiven(settings.installerBgImagePath)
        && !copyResource(settings.installerBgImagePath, resources,
                         QStringLiteral("Cannot copy background image file. Make sure you have write permissions to the destination.")))
        return false;
    if (!writeSettingsFile(settings, resources))
        return fail(unableToCreate(),
                    QStringLiteral("Cannot write settings file. Make sure you have write permissions to the destination."));
    if (fileGiven(settings.installerIconPath)) {
        if (!copyResource(settings.installerIconPath, resources,
                          QStringLiteral("Cannot copy icon file. Make sure you have write permissions to the destination.")))
            return false;
        setBundleIcon(destination, VTPath::lastComponent(settings.installerIconPath));
    }
    (void)VTFileManager::touchFile(destination);
    return true;
}

bool VTInstallerBuilder::copyResource(const QString &file, const QString &resources, const QString &failure)
{
    if (VTFileManager::copyFile(file, VTPath::join(resources, VTPath::lastComponent(file))))
        return true;
    return fail(unableToCreate(), failure);
}

bool VTInstallerBuilder::writeSettingsFile(const VTInstallerSettings &settings, const QString &resources)
{
    QVariantMap values{
        {QStringLiteral("VTPluginName"), settings.installerName},
        {QStringLiteral("VTPluginVersion"), settings.installerVersion},
        {QStringLiteral("VTPluginAuthor"), settings.installerAuthor},
    };
    if (fileGiven(settings.installerEULAPath))
        values.insert(QStringLiteral("VTEULAPath"), VTPath::lastComponent(settings.installerEULAPath));
    if (fileGiven(settings.installerBgImagePath))
        values.insert(QStringLiteral("VTBgImagePath"), VTPath::lastComponent(settings.installerBgImagePath));
    if (VTUserDefaults::value(QLatin1String(VTInstallerSettings::RemoveBrandingKey)).toBool())
        values.insert(QStringLiteral("removeBranding"), true);
    return VTPropertyList::writeFile(VTPath::join(resources, QStringLiteral("InstallerSettings.plist")), values,
                                     VTPropertyList::Format::Xml);
}

void VTInstallerBuilder::setBundleIcon(const QString &destination, const QString &iconFileName)
{
    const QString infoPath = VTPath::join(destination, QStringLiteral("Contents/Info.plist"));
    const QVariant info = VTPropertyList::readFile(infoPath);
    if (info.typeId() != QMetaType::QVariantMap) {
        VTLog::appendLog(QStringLiteral("Unable to read %1: the installer keeps the template's icon").arg(infoPath));
        return;
    }
    QVariantMap values = info.toMap();
    values.insert(QStringLiteral("CFBundleIconFile"), iconFileName);
    if (!VTPropertyList::writeFile(infoPath, values, VTPropertyList::Format::Xml))
        VTLog::appendLog(QStringLiteral("Unable to write %1").arg(infoPath));
}

bool VTInstallerBuilder::sign(const VTInstallerSettings &settings)
{
    if (settings.certificate.isEmpty())
        return true;
    const QString tool = codesignPath();
    VTLog::appendLog(QStringLiteral("Signing installer with certificate %1...").arg(settings.certificate));
    const VTTaskEx::Result result = VTTaskEx::run(
        tool, {QStringLiteral("--deep"), QStringLiteral("-f"), QStringLiteral("-s"), settings.certificate, settings.destFilename});
    QString output;
    if (result.outcome == VTTaskEx::Outcome::FailedToStart) {
        output = QStringLiteral("%1 is missing or cannot be run").arg(tool);
    } else {
        // The signing tool reports on standard error ("...: replacing
        // existing signature"), so both streams count as its output.
        output = QString::fromUtf8(result.standardOutput + result.standardError).trimmed();
    }
    if (output.isEmpty() || output.endsWith(QLatin1String("replacing existing signature")))
        return true;
    return fail(unableToCreate(),
                QStringLiteral("Code signing failed: %1.\n\nMake sure you have Xcode and the Xcode command-line tools installed.")
                    .arg(output));
}

bool VTInstallerBuilder::fail(const QString &messageText, const QString &informativeText)
{
    VTLog::appendLog(messageText + QStringLiteral(": ") + informativeText);
    showSheet(messageText, informativeText);
    return false;
}

void VTInstallerBuilder::showSheet(const QString &messageText, const QString &informativeText)
{
    VTMainThread::runAndWait([this, messageText, informativeText] { m_display.showSheet(messageText, informativeText); });
}
