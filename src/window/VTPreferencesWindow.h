#pragma once

#include <QDialog>

#include <functional>

class AppController;
class QCheckBox;
class QComboBox;

// The preferences: whether starting the program needs administrator
// authorization (stored for this host), whether FxFactory plug-ins are left
// out of the list, and the type filter. Changes apply at once; those that
// change what is listed reload the catalogue.
class VTPreferencesWindow : public QDialog
{
    Q_OBJECT

public:
    // Asks for administrator authorization; true when granted.
    using Authorize = std::function<bool()>;

    // `authorize` defaults to the program's administrator authorization.
    explicit VTPreferencesWindow(AppController &controller, QWidget *parent = nullptr, Authorize authorize = {});

    [[nodiscard]] QCheckBox *requireAdminPasswordBox() const { return m_requireAdmin; }
    [[nodiscard]] QCheckBox *ignoreFxFactoryBox() const { return m_ignoreFxFactory; }
    [[nodiscard]] QComboBox *filterBox() const { return m_filter; }

    // The type filter's entries, title and `filter` value (6 lists the same
    // as 0 and has no entry).
    struct FilterEntry {
        const char *title;
        int value;
    };
    [[nodiscard]] static const QList<FilterEntry> &filterEntries();

signals:
    // The type filter was changed here (the new `filter` value).
    void filterChanged(int value);

private:
    void prefsToggleAdminPass(bool checked);
    void toggleIgnoreFxFactory(bool checked);
    void changeFilter(int index);
    // Reads the stored values into the controls without reacting to them.
    void showStoredValues();

    AppController &m_controller;
    Authorize m_authorize;
    QCheckBox *m_requireAdmin;
    QCheckBox *m_ignoreFxFactory;
    QComboBox *m_filter;
};
