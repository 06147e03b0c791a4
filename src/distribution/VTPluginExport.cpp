#include "VTPluginExport.h"

#include "VTPluginItem.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

// The columns, in CSV order; also the JSON keys.
const QStringList &columns()
{
    static const QStringList names = {
        QStringLiteral("name"),   QStringLiteral("kind"),          QStringLiteral("version"),
        QStringLiteral("enabled"), QStringLiteral("access"),       QStringLiteral("architectures"),
        QStringLiteral("path"),   QStringLiteral("group"),
    };
    return names;
}

QString accessText(qint64 access)
{
    switch (access) {
    case 0:
        return QStringLiteral("all users");
    case 1:
        return QStringLiteral("current user");
    default:
        return QString();
    }
}

QByteArray csvField(const QString &text)
{
    QByteArray field = text.toUtf8();
    if (field.contains(',') || field.contains('"') || field.contains('\n') || field.contains('\r')) {
        field.replace("\"", "\"\"");
        field = '"' + field + '"';
    }
    return field;
}

QByteArray csvRow(const QStringList &fields)
{
    QByteArrayList encoded;
    for (const QString &field : fields)
        encoded.append(csvField(field));
    return encoded.join(',') + "\r\n";
}

} // namespace

QByteArray VTPluginExport::json(const QList<PluginPtr> &plugins)
{
    QJsonArray records;
    for (const PluginPtr &plugin : plugins) {
        const std::optional<QStringList> architectures = plugin->architectures();
        records.append(QJsonObject{
            {QStringLiteral("name"), plugin->shortName()},
            {QStringLiteral("kind"), plugin->pluginTypeName()},
            {QStringLiteral("version"), plugin->version()},
            {QStringLiteral("enabled"), plugin->pluginEnabled() != 0},
            {QStringLiteral("access"), accessText(plugin->pluginAccess())},
            {QStringLiteral("architectures"),
             architectures ? QJsonValue(QJsonArray::fromStringList(*architectures)) : QJsonValue()},
            {QStringLiteral("path"), plugin->pluginPath()},
            {QStringLiteral("group"), plugin->subdir()},
        });
    }
    return QJsonDocument(records).toJson(QJsonDocument::Indented);
}

QByteArray VTPluginExport::csv(const QList<PluginPtr> &plugins)
{
    QByteArray text = csvRow(columns());
    for (const PluginPtr &plugin : plugins) {
        text += csvRow({
            plugin->shortName(),
            plugin->pluginTypeName(),
            plugin->version(),
            plugin->pluginEnabled() != 0 ? QStringLiteral("true") : QStringLiteral("false"),
            accessText(plugin->pluginAccess()),
            plugin->architectures().value_or(QStringList()).join(QLatin1String("; ")),
            plugin->pluginPath(),
            plugin->subdir(),
        });
    }
    return text;
}
