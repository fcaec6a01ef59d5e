// The Dimming page: focus dimming and its look, excluded apps, the quick-dim app, menu bar dimming and a picture
// per screen.
#pragma once

#include <QList>
#include <QWidget>
#include <memory>

#include "SettingsWindowContext.h"

class QCheckBox;
class QComboBox;
class QGridLayout;
class QLabel;
class QSlider;

namespace tamsinvale {

struct AppListEditor;

class DimmingPage : public QWidget {
    Q_OBJECT
public:
    explicit DimmingPage(const SettingsWindowContext& context, QWidget* parent = nullptr);
    ~DimmingPage() override;

    QCheckBox* focusDim() const { return m_focusDim; }
    QSlider* darkening() const { return m_darkening; }
    QComboBox* quickDimApp() const { return m_quickDim; }

private:
    void refresh();
    void rebuildScreens();

    const SettingsWindowContext& m_context;
    QCheckBox* m_focusDim = nullptr;
    QSlider* m_darkening = nullptr;
    QLabel* m_darkeningValue = nullptr;
    QCheckBox* m_black = nullptr;
    QCheckBox* m_otherScreens = nullptr;
    std::unique_ptr<AppListEditor> m_excluded;
    QComboBox* m_quickDim = nullptr;
    QCheckBox* m_menuBar = nullptr;
    QSlider* m_menuBarOpacity = nullptr;
    QLabel* m_menuBarOpacityValue = nullptr;
    QGridLayout* m_screens = nullptr;
    QList<QWidget*> m_screenWidgets;
    QStringList m_quickDimIds;
};

}  // namespace tamsinvale
