#include "VTSandboxManifest.h"

#include "VTMachOWriter.h"
#include "VTPath.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

#include <algorithm>

namespace {

QString formName(VTSandboxPlugin::Form form)
{
    switch (form) {
    case VTSandboxPlugin::Form::Bundle: return QStringLiteral("bundle");
    case VTSandboxPlugin::Form::File: return QStringLiteral("file");
    case VTSandboxPlugin::Form::TypeCodedFile: return QStringLiteral("type-coded file");
    case VTSandboxPlugin::Form::MotionTemplate: return QStringLiteral("motion template");
    }
    return QString();
}

} // namespace

QStringList VTSandboxPlugin::architectureTexts() const
{
    QStringList texts;
    for (const QString &architecture : architectures) {
        const auto arch = VTMachOWriter::fromName(architecture);
        const QString text = arch ? VTMachOWriter::displayText(*arch) : QString();
        if (!text.isEmpty())
            texts.append(text);
    }
    return texts;
}

QJsonObject VTSandboxPlugin::toJson() const
{
    return QJsonObject{
        {QStringLiteral("path"), path},
        {QStringLiteral("enabledPath"), enabledPath},
        {QStringLiteral("fileName"), fileName},
        {QStringLiteral("name"), name},
        {QStringLiteral("version"), version},
        {QStringLiteral("group"), group},
        {QStringLiteral("kind"), kind},
        {QStringLiteral("access"), access},
        {QStringLiteral("enabled"), enabled},
        {QStringLiteral("form"), formName(form)},
        {QStringLiteral("architectures"), QJsonArray::fromStringList(architectures)},
        {QStringLiteral("architectureTexts"), QJsonArray::fromStringList(architectureTexts())},
        {QStringLiteral("locked"), locked},
        {QStringLiteral("insideFxFactory"), insideFxFactory},
    };
}

int VTSandboxGroup::depth() const
{
    return static_cast<int>(VTPath::components(subdir).size());
}

QJsonObject VTSandboxGroup::toJson() const
{
    return QJsonObject{
        {QStringLiteral("path"), path},
        {QStringLiteral("subdir"), subdir},
        {QStringLiteral("kind"), kind},
        {QStringLiteral("access"), access},
        {QStringLiteral("enabled"), enabled},
        {QStringLiteral("fxFactory"), fxFactory},
    };
}

QJsonObject VTSandboxApplication::toJson() const
{
    return QJsonObject{
        {QStringLiteral("path"), path},
        {QStringLiteral("identifier"), identifier},
        {QStringLiteral("version"), version},
    };
}

qsizetype VTSandboxManifest::enabledCount() const
{
    return std::count_if(plugins.cbegin(), plugins.cend(), [](const VTSandboxPlugin &p) { return p.enabled; });
}

qsizetype VTSandboxManifest::disabledCount() const
{
    return plugins.size() - enabledCount();
}

qsizetype VTSandboxManifest::countOfKind(qint64 kind) const
{
    return std::count_if(plugins.cbegin(), plugins.cend(), [kind](const VTSandboxPlugin &p) { return p.kind == kind; });
}

const VTSandboxPlugin *VTSandboxManifest::plugin(const QString &path) const
{
    const QString wanted = VTPath::normalize(path);
    for (const VTSandboxPlugin &candidate : plugins) {
        if (candidate.path == wanted)
            return &candidate;
    }
    return nullptr;
}

const VTSandboxPlugin *VTSandboxManifest::pluginNamed(const QString &fileName) const
{
    for (const VTSandboxPlugin &candidate : plugins) {
        if (candidate.fileName == fileName)
            return &candidate;
    }
    return nullptr;
}

QJsonObject VTSandboxManifest::toJson() const
{
    QJsonArray pluginArray;
    for (const VTSandboxPlugin &plugin : plugins)
        pluginArray.append(plugin.toJson());
    QJsonArray groupArray;
    for (const VTSandboxGroup &group : groups)
        groupArray.append(group.toJson());
    QJsonArray applicationArray;
    for (const VTSandboxApplication &application : applications)
        applicationArray.append(application.toJson());
    return QJsonObject{
        {QStringLiteral("root"), root},
        {QStringLiteral("home"), home},
        {QStringLiteral("disabledRoot"), disabledRoot},
        {QStringLiteral("plugins"), pluginArray},
        {QStringLiteral("groups"), groupArray},
        {QStringLiteral("applications"), applicationArray},
        {QStringLiteral("ignored"), QJsonArray::fromStringList(ignored)},
    };
}

bool VTSandboxManifest::writeJson(const QString &path) const
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(QJsonDocument(toJson()).toJson(QJsonDocument::Indented));
    return file.commit();
}
