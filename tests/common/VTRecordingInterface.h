#pragma once

#include "VTUserInterface.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <mutex>

// A display interface for tests: records every display step as text
// ("alert:...", "max:4", "step", "stats:..."), answers alerts from a script
// (the first button once the script is used up), and acts as if a window is
// there only when asked to. Called from workers too.
class VTRecordingInterface final : public VTUserInterface
{
public:
    explicit VTRecordingInterface(bool window = false) : m_window(window) {}

    [[nodiscard]] bool hasWindow() const override { return m_window; }
    int runAlert(const Alert &alert) override
    {
        std::function<void(int)> hook;
        int count = 0;
        int answer = FirstButton;
        {
            std::lock_guard lock(m_mutex);
            m_steps << QStringLiteral("alert:%1|%2|%3").arg(alert.messageText, alert.informativeText,
                                                              alert.buttons.join(u','));
            m_shown << alert;
            count = int(m_shown.size());
            hook = m_onAlert;
            if (!m_answers.isEmpty())
                answer = m_answers.takeFirst();
        }
        if (hook)
            hook(count);
        return answer;
    }
    void startBusyIndicator() override { record(QStringLiteral("busy")); }
    void stopBusyIndicator() override { record(QStringLiteral("idle")); }
    void showProgressSheet() override { record(QStringLiteral("sheet")); }
    void setIndeterminateProgress() override { record(QStringLiteral("indeterminate")); }
    void setDeterminateProgress(qint64 maximum) override { record(QStringLiteral("max:%1").arg(maximum)); }
    void incrementProgress() override
    {
        std::function<void(int)> hook;
        int count = 0;
        {
            std::lock_guard lock(m_mutex);
            m_steps << QStringLiteral("step");
            count = ++m_increments;
            hook = m_onIncrement;
        }
        if (hook)
            hook(count);
    }
    void updateProgressText(const QString &text) override { record(QStringLiteral("text:") + text); }
    void endProgressSheet() override { record(QStringLiteral("end")); }
    void setCatalogueLoading(bool loading) override { record(loading ? QStringLiteral("loading") : QStringLiteral("loaded")); }
    void setStatisticsText(const QString &text) override { record(QStringLiteral("stats:") + text); }

    // The statistics lines shown so far.
    [[nodiscard]] QStringList statistics() const
    {
        QStringList lines;
        for (const QString &step : steps(QStringLiteral("stats:")))
            lines << step.mid(6);
        return lines;
    }
    // The loading indicator's states so far.
    [[nodiscard]] QList<bool> loading() const
    {
        QList<bool> states;
        for (const QString &step : steps()) {
            if (step == QLatin1String("loading") || step == QLatin1String("loaded"))
                states << (step == QLatin1String("loading"));
        }
        return states;
    }

    // Called after each progress step with the number of steps so far, as
    // a person watching the bar would act.
    void setOnIncrement(std::function<void(int)> hook)
    {
        std::lock_guard lock(m_mutex);
        m_onIncrement = std::move(hook);
    }
    // The alerts shown so far, whole.
    [[nodiscard]] QList<Alert> alerts() const
    {
        std::lock_guard lock(m_mutex);
        return m_shown;
    }
    // Called while an alert is open with the number of alerts so far, as a
    // person who changes files before answering would act.
    void setOnAlert(std::function<void(int)> hook)
    {
        std::lock_guard lock(m_mutex);
        m_onAlert = std::move(hook);
    }
    void answerNext(int button)
    {
        std::lock_guard lock(m_mutex);
        m_answers << button;
    }
    [[nodiscard]] QStringList steps() const
    {
        std::lock_guard lock(m_mutex);
        return m_steps;
    }
    [[nodiscard]] QStringList steps(const QString &prefix) const
    {
        QStringList matching;
        for (const QString &step : steps()) {
            if (step.startsWith(prefix))
                matching << step;
        }
        return matching;
    }
    void clear()
    {
        std::lock_guard lock(m_mutex);
        m_steps.clear();
        m_increments = 0;
    }

private:
    void record(const QString &step)
    {
        std::lock_guard lock(m_mutex);
        m_steps << step;
    }

    const bool m_window;
    mutable std::mutex m_mutex;
    QStringList m_steps;
    QList<int> m_answers;
    std::function<void(int)> m_onIncrement;
    std::function<void(int)> m_onAlert;
    int m_increments = 0;
    QList<Alert> m_shown;
};
