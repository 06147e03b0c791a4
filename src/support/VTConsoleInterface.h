#pragma once

#include "VTUserInterface.h"

// The interface of a run without a window: display steps do nothing, and an
// alert is one line on standard output, answered with its first button.
class VTConsoleInterface final : public VTUserInterface
{
public:
    [[nodiscard]] bool hasWindow() const override { return false; }
    int runAlert(const Alert &alert) override;
    void startBusyIndicator() override {}
    void stopBusyIndicator() override {}
    void showProgressSheet() override {}
    void setIndeterminateProgress() override {}
    void setDeterminateProgress(qint64) override {}
    void incrementProgress() override {}
    void updateProgressText(const QString &) override {}
    void endProgressSheet() override {}
    void setCatalogueLoading(bool) override {}
    void setStatisticsText(const QString &) override {}
};
