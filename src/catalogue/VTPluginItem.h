#pragma once

#include "VTCatalogueItem.h"
#include "VTMachO.h"

#include <QStringList>

#include <atomic>
#include <optional>

class VTBundleInfoRequest;
struct VTBundleInfo;

// What a plug-in record made by the scan asks the disk about itself. A
// caller that reads neither the lock flags nor the bundle's fields (a plain
// listing of paths) spares the disk both looks; the records are otherwise
// the same.
struct VTDiskLooks {
    bool lockStatus = true;        // setLockStatus
    bool bundleInformation = true; // the queued bundle read
};

// One installed plug-in (a file or a bundle) in the catalogue.
//
// A plug-in record does not keep the folder it was found in: its path is
// derived from kind, access, enabled flag, subfolder and file name through
// the folder table of VTPluginFolders::shared(). `actualPath` tracks where
// the file really is while an operation moves it: every setter that changes
// the derived path re-evaluates it before and after the change.
//
// A record made by create() reads its bundle (name, version, architectures)
// on the shared VTBundleInfoReader pool; bundleProcessThread() is the handle
// of that read. A record released while its read is pending cancels it; the
// read holds only a weak reference, so it never touches a released record.
// All fields are guarded by the record's mutex, as the reader writes them
// while the tree may be shown.
class VTPluginItem final : public VTCatalogueItem
{
    struct Passkey {
        explicit Passkey() = default;
    };

public:
    // The archived and copied fields, in archive order.
    struct ArchivedFields {
        QString shortName;
        QString fileName;
        QString subdir; // null at the top level
        QString version;
        qint64 pluginEnabled = 1;
        qint64 itemSelection = 0;
        std::optional<QStringList> architectures; // none until known
        qint64 pluginType = -1;
        qint64 pluginAccess = -1;
    };

    // The record of a plug-in file: sets the fields, points actualPath at
    // pluginPath, evaluates the lock status and queues the bundle read.
    [[nodiscard]] static PluginPtr create(const QString &fileName, qint64 pluginType, qint64 pluginAccess,
                                          qint64 pluginEnabled);
    // The same, with the names the scan found set before the read is queued,
    // so that the bundle's own name, when it has one, always wins.
    // `isPlainFile`: the walk found a regular file at the path.
    [[nodiscard]] static PluginPtr createScanned(const QString &fileName, const QString &shortName,
                                                 const QString &subdir, const QString &version, qint64 pluginType,
                                                 qint64 pluginAccess, qint64 pluginEnabled, bool isPlainFile = false,
                                                 VTDiskLooks looks = {});
    // A record with just these fields: no actual path, no parent, no read
    // (decoded and copied records).
    [[nodiscard]] static PluginPtr fromArchivedFields(const ArchivedFields &fields);

    VTPluginItem(Passkey, const ArchivedFields &fields);
    ~VTPluginItem() override;

    [[nodiscard]] bool isPlugin() const override { return true; }
    [[nodiscard]] ArchivedFields archivedFields() const;

    [[nodiscard]] QString shortName() const;
    void setShortName(const QString &shortName);
    [[nodiscard]] QString fileName() const;
    void setFileName(const QString &fileName);
    [[nodiscard]] QString subdir() const override;
    // An empty subfolder is stored as none.
    void setSubdir(const QString &subdir) override;
    [[nodiscard]] QString version() const;
    void setVersion(const QString &version);
    [[nodiscard]] qint64 pluginEnabled() const;
    void setPluginEnabled(qint64 enabled);
    [[nodiscard]] qint64 pluginType() const;
    void setPluginType(qint64 type);
    [[nodiscard]] qint64 pluginAccess() const;
    void setPluginAccess(qint64 access);
    [[nodiscard]] qint64 itemSelection() const;
    void setItemSelection(qint64 selection);
    void setParent(const GroupPtr &parent) override;

    [[nodiscard]] QString actualPath() const;
    // A copy that shares no data with the record, for a thread that keeps
    // it after the record changes (implicit sharing's reference counts live
    // partly in Qt's own code, which ThreadSanitizer cannot see).
    [[nodiscard]] QString detachedActualPath() const;
    void setActualPath(const QString &path);
    [[nodiscard]] std::optional<QStringList> architectures() const;
    void setArchitectures(const std::optional<QStringList> &architectures);

    [[nodiscard]] bool isLocked() const { return m_isLocked; }
    void setIsLocked(bool locked) { m_isLocked = locked; }
    [[nodiscard]] bool isDeletable() const { return m_isDeletable; }
    void setIsDeletable(bool deletable) { m_isDeletable = deletable; }

    // The disabled-plugins root when disabled, else "".
    [[nodiscard]] QString pluginTypeDir() const;
    // The kind's folder for the kind and access (the base-path table).
    [[nodiscard]] QString pluginBasePath() const;
    // pluginBasePath / subdir / fileName.
    [[nodiscard]] QString pluginRelativePath() const;
    // pluginTypeDir / pluginRelativePath: the host folder path when enabled,
    // its mirror in the disabled tree when disabled.
    [[nodiscard]] QString pluginPath() const;
    // Keeps actualPath while it is set and nothing exists at pluginPath;
    // otherwise sets it to pluginPath.
    void updateActualPath();
    [[nodiscard]] QString pluginTypeName() const;

    // A bundle holding ".fxfactory.plist" is managed by another tool: locked
    // and not deletable. Otherwise deletable, with the locked flag unchanged.
    void setLockStatus();

    [[nodiscard]] bool is32BitAvailable() const;
    [[nodiscard]] bool is64BitAvailable() const;
    [[nodiscard]] bool isIntelAvailable() const;
    [[nodiscard]] bool isPPCAvailable() const;
    // Display texts of Mach-O architectures ("64-bit (Intel)", ...), in the
    // given order; CPU types other than Intel and PowerPC are left out.
    [[nodiscard]] static QStringList architectureTexts(const QList<VTMachO::Architecture> &architectures);

    // The handle of the pending or finished bundle read; null for records
    // made without one.
    [[nodiscard]] std::shared_ptr<VTBundleInfoRequest> bundleProcessThread() const;
    // Takes what the bundle reader found: the name unless it is the
    // "${PRODUCT_NAME}" placeholder, the version, the known architectures.
    void applyBundleInfo(VTBundleInfo info);

    [[nodiscard]] QString displayTitle() const override { return shortName(); }
    [[nodiscard]] VTOrder nameCompare(const VTCatalogueItem &other) const override;
    // Plug-ins come before groups; versions compare as text, so 10.0 sorts
    // before 9.0.
    [[nodiscard]] VTOrder versionCompare(const VTCatalogueItem &other) const override;
    // Plug-ins before groups; disabled before enabled.
    [[nodiscard]] VTOrder statusCompare(const VTCatalogueItem &other) const override;
    // Kind names, a group counting as "Group".
    [[nodiscard]] VTOrder typeCompare(const VTCatalogueItem &other) const override;
    void sortChildrenByName(bool) override {}
    void sortChildrenByVersion(bool) override {}
    void sortChildrenByStatus(bool) override {}
    void sortChildrenByType(bool) override {}

    // A fresh record sharing the archived fields, kind and access; no actual
    // path, no parent, no read.
    [[nodiscard]] PluginPtr copy() const;
    [[nodiscard]] ItemPtr copyItem() const override { return copy(); }

private:
    void startBundleRead();
    // Runs `change` under the mutex between two updateActualPath calls.
    template<typename Change>
    void changePathField(Change change);
    [[nodiscard]] bool anyArchitecture(bool (*test)(const QString &)) const;

    // Guarded by m_mutex.
    QString m_shortName;
    QString m_fileName;
    QString m_subdir;
    QString m_version;
    qint64 m_pluginEnabled = 1;
    QString m_actualPath;
    qint64 m_pluginType = -1;
    qint64 m_pluginAccess = -1;
    qint64 m_itemSelection = 0;
    std::optional<QStringList> m_architectures;
    std::shared_ptr<VTBundleInfoRequest> m_bundleRequest;

    // Guarded by m_mutex: where setLockStatus last looked and what it found.
    QString m_lockCheckedPath;
    bool m_lockCheckedManaged = false;
    std::atomic<bool> m_isLocked{false};
    std::atomic<bool> m_isDeletable{false};
};
