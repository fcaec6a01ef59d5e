// The Inactive Apps page: the threshold of "Close Inactive Apps…" and the apps it never lists.
#pragma once

#include <QWidget>
#include <memory>

#include "SettingsWindowContext.h"

class QComboBox;

namespace tamsinvale {

struct AppListEditor;

class InactiveAppsPage : public QWidget {
    Q_OBJECT
public:
    explicit InactiveAppsPage(const SettingsWindowContext& context, QWidget* parent = nullptr);
    ~InactiveAppsPage() override;

    QComboBox* threshold() const { return m_threshold; }

private:
    void refresh();

    const SettingsWindowContext& m_context;
    QComboBox* m_threshold = nullptr;
    std::unique_ptr<AppListEditor> m_excluded;
};

}  // namespace tamsinvale
