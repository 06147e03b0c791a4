#include "VTIconProvider.h"

#include "VTPluginKind.h"

#include <QApplication>
#include <QHash>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>

#include <algorithm>
#include <functional>

namespace {

// A rounded badge with up to three letters, for kinds no theme has an icon for.
QIcon badge(const QString &letters, const QColor &colour)
{
    QIcon icon;
    for (const int size : {16, 24, 32, 48}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath path;
        path.addRoundedRect(QRectF(0.5, 0.5, size - 1.0, size - 1.0), size / 5.0, size / 5.0);
        painter.fillPath(path, colour);
        painter.setPen(colour.darker(140));
        painter.drawPath(path);
        QFont font = QApplication::font();
        font.setBold(true);
        font.setPixelSize(std::max(6, int(size * (letters.size() > 2 ? 0.34 : 0.45))));
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(QRect(0, 0, size, size), Qt::AlignCenter, letters);
        icon.addPixmap(pixmap);
    }
    return icon;
}

QIcon standard(QStyle::StandardPixmap pixmap)
{
    return QApplication::style()->standardIcon(pixmap);
}

// The theme's icon when it has one, else the fallback. Looked up once.
QIcon themed(const QString &key, const QStringList &themeNames, const std::function<QIcon()> &fallback)
{
    static QHash<QString, QIcon> cache;
    if (const auto found = cache.constFind(key); found != cache.cend())
        return *found;
    QIcon icon;
    for (const QString &name : themeNames) {
        if (QIcon::hasThemeIcon(name)) {
            icon = QIcon::fromTheme(name);
            break;
        }
    }
    if (icon.isNull())
        icon = fallback();
    cache.insert(key, icon);
    return icon;
}

QStringList names(std::initializer_list<const char *> list)
{
    QStringList result;
    for (const char *name : list)
        result.append(QString::fromLatin1(name));
    return result;
}

} // namespace

namespace VTIconProvider {

QIcon kindIcon(qint64 pluginType)
{
    // Each kind has its own badge, so that kinds stay apart at a glance even
    // where the theme has one icon for all audio or video plug-ins.
    struct Badge {
        const char *letters;
        QColor colour;
    };
    static const QHash<qint64, Badge> badges{
        {VTPluginKind::FxPlug, {"FX", QColor(0x4a, 0x6f, 0xc9)}},
        {VTPluginKind::FxScript, {"FS", QColor(0x3b, 0x8e, 0xa5)}},
        {VTPluginKind::AudioUnit, {"AU", QColor(0xd0, 0x6a, 0x1e)}},
        {VTPluginKind::AvidAVX, {"AVX", QColor(0x6b, 0x4c, 0xb0)}},
        {VTPluginKind::AdobePlugin, {"Ae", QColor(0x8a, 0x3f, 0xa8)}},
        {VTPluginKind::AvidAVX2, {"AX2", QColor(0x59, 0x3d, 0x96)}},
        {VTPluginKind::AvidRTAS, {"RT", QColor(0xb0, 0x3a, 0x48)}},
        {VTPluginKind::VST, {"VST", QColor(0x2f, 0x8f, 0x4e)}},
        {VTPluginKind::MotionTemplate, {"MT", QColor(0x9a, 0x7b, 0x1c)}},
        {VTPluginKind::OpenFX, {"OFX", QColor(0x36, 0x6d, 0x7d)}},
    };
    const auto found = badges.constFind(pluginType);
    const QString key = QStringLiteral("kind-%1").arg(found == badges.cend() ? -1 : pluginType);
    if (found == badges.cend())
        return themed(key, names({"application-x-executable", "application-x-sharedlib"}),
                      [] { return standard(QStyle::SP_FileIcon); });
    const Badge b = *found;
    return themed(key, {}, [b] { return badge(QString::fromLatin1(b.letters), b.colour); });
}

QIcon groupIcon()
{
    return themed(QStringLiteral("group"), names({"folder"}), [] { return standard(QStyle::SP_DirIcon); });
}

QIcon accessIcon(qint64 access)
{
    if (access == 0)
        return themed(QStringLiteral("access-all"), names({"system-users", "user-group-properties", "users"}),
                      [] { return badge(QStringLiteral("All"), QColor(0x55, 0x75, 0x9a)); });
    if (access == 1)
        return themed(QStringLiteral("access-user"), names({"user-identity", "avatar-default", "user"}),
                      [] { return badge(QStringLiteral("Me"), QColor(0x4f, 0x8a, 0x5c)); });
    return themed(QStringLiteral("access-mixed"), {}, [] { return badge(QStringLiteral("±"), Qt::gray); });
}

QIcon commandIcon(Command command)
{
    switch (command) {
    case Command::Enable:
        return themed(QStringLiteral("enable"), names({"dialog-ok-apply", "emblem-ok", "object-select"}),
                      [] { return standard(QStyle::SP_DialogApplyButton); });
    case Command::Disable:
        return themed(QStringLiteral("disable"), names({"dialog-cancel", "process-stop"}),
                      [] { return standard(QStyle::SP_DialogCancelButton); });
    case Command::AllUsers:
        return accessIcon(0);
    case Command::CurrentUser:
        return accessIcon(1);
    case Command::AddGroup:
        return themed(QStringLiteral("add-group"), names({"folder-new"}),
                      [] { return standard(QStyle::SP_FileDialogNewFolder); });
    case Command::Remove:
        return themed(QStringLiteral("remove"), names({"edit-delete", "user-trash"}),
                      [] { return standard(QStyle::SP_TrashIcon); });
    case Command::DeleteDisabled:
        return themed(QStringLiteral("delete-disabled"), names({"edit-clear-all", "edit-clear"}),
                      [] { return standard(QStyle::SP_DialogDiscardButton); });
    case Command::Install:
        return themed(QStringLiteral("install"), names({"document-import", "list-add", "document-open"}),
                      [] { return standard(QStyle::SP_DialogOpenButton); });
    case Command::Reload:
        return themed(QStringLiteral("reload"), names({"view-refresh"}),
                      [] { return standard(QStyle::SP_BrowserReload); });
    case Command::CrashTester:
        return themed(QStringLiteral("crash"), names({"tools-report-bug", "dialog-warning"}),
                      [] { return standard(QStyle::SP_MessageBoxWarning); });
    case Command::Validate:
        return themed(QStringLiteral("validate"), names({"audio-x-generic", "checkbox"}),
                      [] { return standard(QStyle::SP_MediaVolume); });
    case Command::BuildInstaller:
        return themed(QStringLiteral("installer"), names({"package-x-generic", "archive-insert"}),
                      [] { return standard(QStyle::SP_DriveHDIcon); });
    case Command::Print:
        return themed(QStringLiteral("print"), names({"document-print"}),
                      [] { return standard(QStyle::SP_FileDialogDetailedView); });
    case Command::Reveal:
        return themed(QStringLiteral("reveal"), names({"document-open-folder", "folder-open"}),
                      [] { return standard(QStyle::SP_DirOpenIcon); });
    }
    return standard(QStyle::SP_FileIcon);
}

QIcon validationStatusIcon(const QString &status)
{
    if (status == QLatin1String("OK"))
        return themed(QStringLiteral("status-ok"), names({"emblem-ok-symbolic", "emblem-default", "dialog-ok"}),
                      [] { return standard(QStyle::SP_DialogApplyButton); });
    if (status == QLatin1String("Validating..."))
        return QIcon();
    static const QStringList failures = {QStringLiteral("General Error"), QStringLiteral("Fatal Error"),
                                         QStringLiteral("Unauthorized"), QStringLiteral("Failed")};
    if (failures.contains(status))
        return themed(QStringLiteral("status-error"), names({"dialog-error", "emblem-error"}),
                      [] { return standard(QStyle::SP_MessageBoxCritical); });
    return themed(QStringLiteral("status-warning"), names({"dialog-warning", "emblem-important"}),
                  [] { return standard(QStyle::SP_MessageBoxWarning); });
}

} // namespace VTIconProvider
