// The Dimming page's widgets; what they show comes from `DimmingPageModel`.
#include "DimmingPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>

#include "DimmingPageModel.h"
#include "PageWidgets.h"
#include "settings/SettingsStore.h"
#include "switcher/AppDiscoveryStore.h"

namespace tamsinvale {

namespace {

QSlider* percentSlider(QWidget* parent)
{
    auto* slider = new QSlider(Qt::Horizontal, parent);
    slider->setRange(0, 100);
    slider->setPageStep(5);
    slider->setMinimumWidth(220);
    return slider;
}

QList<DiscoveredApp> appsOf(const SettingsWindowContext& context)
{
    return context.discovery ? context.discovery->apps() : QList<DiscoveredApp>();
}

QList<ScreenInfo> screensOf(const SettingsWindowContext& context)
{
    return context.platform.screens ? context.platform.screens->screens() : QList<ScreenInfo>();
}

}  // namespace

DimmingPage::DimmingPage(const SettingsWindowContext& context, QWidget* parent) : QWidget(parent), m_context(context)
{
    SettingsStore* store = m_context.settings;
    QVBoxLayout* layout = PageWidgets::pageLayout(this, QStringLiteral("Dimming"));

    m_focusDim = new QCheckBox(QStringLiteral("Focus Dim"), this);
    layout->addWidget(m_focusDim);
    layout->addWidget(PageWidgets::help(
        QStringLiteral("On every screen, a picture with a darkening layer stays directly below the active window."),
        this));
    auto* darkeningRow = new QHBoxLayout;
    darkeningRow->addWidget(new QLabel(QStringLiteral("Darkening"), this));
    m_darkening = percentSlider(this);
    darkeningRow->addWidget(m_darkening);
    m_darkeningValue = new QLabel(this);
    m_darkeningValue->setMinimumWidth(40);
    darkeningRow->addWidget(m_darkeningValue);
    darkeningRow->addStretch(1);
    layout->addLayout(darkeningRow);
    m_black = new QCheckBox(QStringLiteral("Black Background"), this);
    layout->addWidget(m_black);
    layout->addWidget(PageWidgets::help(DimmingPageModel::blackBackgroundHelp, this));
    m_otherScreens = new QCheckBox(QStringLiteral("Fully Dim Other Screens"), this);
    layout->addWidget(m_otherScreens);
    layout->addWidget(PageWidgets::help(DimmingPageModel::otherScreensHelp, this));

    layout->addWidget(PageWidgets::separator(this));
    layout->addWidget(PageWidgets::sectionTitle(QStringLiteral("Excluded Apps"), this));
    layout->addWidget(PageWidgets::help(DimmingPageModel::excludeHelp, this));
    m_excluded = std::make_unique<AppListEditor>(this);
    m_excluded->onChange = [store](const QString& key, bool chosen) {
        DimmingPageModel::setExcluded(*store, key, chosen);
    };
    layout->addWidget(m_excluded->widget);

    layout->addWidget(PageWidgets::separator(this));
    layout->addWidget(PageWidgets::sectionTitle(QStringLiteral("Quick Dim"), this));
    auto* quickRow = new QHBoxLayout;
    quickRow->addWidget(new QLabel(QStringLiteral("Quick-dim app"), this));
    m_quickDim = new QComboBox(this);
    m_quickDim->setMinimumWidth(240);
    quickRow->addWidget(m_quickDim);
    quickRow->addStretch(1);
    layout->addLayout(quickRow);
    layout->addWidget(PageWidgets::help(DimmingPageModel::quickDimHelp, this));

    layout->addWidget(PageWidgets::separator(this));
    layout->addWidget(PageWidgets::sectionTitle(QStringLiteral("Menu Bar"), this));
    m_menuBar = new QCheckBox(QStringLiteral("Dim Menu Bar"), this);
    layout->addWidget(m_menuBar);
    auto* opacityRow = new QHBoxLayout;
    opacityRow->addWidget(new QLabel(QStringLiteral("Opacity"), this));
    m_menuBarOpacity = percentSlider(this);
    opacityRow->addWidget(m_menuBarOpacity);
    m_menuBarOpacityValue = new QLabel(this);
    m_menuBarOpacityValue->setMinimumWidth(40);
    opacityRow->addWidget(m_menuBarOpacityValue);
    opacityRow->addStretch(1);
    layout->addLayout(opacityRow);

    layout->addWidget(PageWidgets::separator(this));
    layout->addWidget(PageWidgets::sectionTitle(QStringLiteral("Pictures per Screen"), this));
    layout->addWidget(PageWidgets::help(DimmingPageModel::screenPicturesHelp, this));
    m_screens = new QGridLayout;
    m_screens->setHorizontalSpacing(12);
    layout->addLayout(m_screens);
    layout->addStretch(1);

    connect(m_focusDim, &QCheckBox::toggled, this, [store](bool on) { store->set(&Settings::focusDimEnabled, on); });
    connect(m_darkening, &QSlider::valueChanged, this,
            [store](int value) { DimmingPageModel::setDarkeningPercent(*store, value); });
    connect(m_black, &QCheckBox::toggled, this,
            [store](bool on) { store->set(&Settings::focusDimBlackBackground, on); });
    connect(m_otherScreens, &QCheckBox::toggled, this,
            [store](bool on) { store->set(&Settings::focusDimOtherScreensFully, on); });
    connect(m_quickDim, qOverload<int>(&QComboBox::activated), this, [this, store](int index) {
        const QString id = m_quickDim->itemData(index).toString();
        DimmingPageModel::setQuickDimApp(*store, id.isEmpty() ? std::nullopt : std::optional<QString>(id));
    });
    connect(m_menuBar, &QCheckBox::toggled, this, [store](bool on) { store->set(&Settings::dimMenuBarEnabled, on); });
    connect(m_menuBarOpacity, &QSlider::valueChanged, this,
            [store](int value) { DimmingPageModel::setMenuBarOpacityPercent(*store, value); });

    connect(store, &SettingsStore::changed, this, &DimmingPage::refresh);
    if (m_context.discovery)
        connect(m_context.discovery, &AppDiscoveryStore::appsChanged, this, &DimmingPage::refresh);
    if (m_context.platform.screens)
        connect(m_context.platform.screens, &Screens::screensChanged, this, &DimmingPage::refresh);
    refresh();
}

DimmingPage::~DimmingPage() = default;

void DimmingPage::refresh()
{
    const DimmingPageState state = DimmingPageModel::state(m_context.settings->settings(), appsOf(m_context),
                                                           screensOf(m_context), m_context.platform.bookmarks);
    {
        const QSignalBlocker b1(m_focusDim), b2(m_darkening), b3(m_black), b4(m_otherScreens), b5(m_menuBar),
            b6(m_menuBarOpacity), b7(m_quickDim);
        m_focusDim->setChecked(state.focusDimEnabled);
        m_darkening->setValue(state.darkeningPercent);
        m_black->setChecked(state.blackBackground);
        m_otherScreens->setChecked(state.otherScreensFully);
        m_menuBar->setChecked(state.dimMenuBarEnabled);
        m_menuBarOpacity->setValue(state.menuBarOpacityPercent);
        m_menuBarOpacity->setEnabled(state.dimMenuBarEnabled);

        m_quickDim->clear();
        m_quickDim->addItem(QStringLiteral("None"), QString());
        for (const AppChoice& app : state.quickDimChoices)
            m_quickDim->addItem(app.name, app.id);
        if (state.quickDimMissing)
            m_quickDim->addItem(*state.quickDimMissing + QStringLiteral(" (not installed)"), *state.quickDimMissing);
        m_quickDim->setCurrentIndex(state.quickDimMissing ? m_quickDim->count() - 1 : state.quickDimIndex + 1);
    }
    m_darkening->setEnabled(state.focusDimEnabled && state.pictureControlsEnabled);
    m_darkeningValue->setText(QStringLiteral("%1 %").arg(state.darkeningPercent));
    m_menuBarOpacityValue->setText(QStringLiteral("%1 %").arg(state.menuBarOpacityPercent));
    m_excluded->show(state.excludedApps, state.excludableApps);

    for (QWidget* w : m_screenWidgets)
        w->deleteLater();
    m_screenWidgets.clear();
    int line = 0;
    SettingsStore* store = m_context.settings;
    const SettingsWindowContext* context = &m_context;
    for (const ScreenPictureRow& row : state.screens) {
        auto* name = new QLabel(row.screenName, this);
        auto* picture = new QLabel(row.pictureText, this);
        picture->setToolTip(row.picturePath.value_or(QString()));
        auto* choose = new QPushButton(QStringLiteral("Choose…"), this);
        auto* clear = new QPushButton(QStringLiteral("Use All Screens Picture"), this);
        const bool ownPicture = !row.pictureText.startsWith(QLatin1String("Same as"));
        clear->setEnabled(ownPicture);
        choose->setEnabled(state.pictureControlsEnabled && context->chooseFile && context->platform.bookmarks);
        const QString uuid = row.uuid;
        connect(choose, &QPushButton::clicked, this, [store, context, uuid] {
            const auto path = context->chooseFile(QStringLiteral("Choose a picture for this screen"),
                                                  QStringLiteral("Pictures (*.png *.jpg *.jpeg *.heic *.webp *.bmp)"));
            if (path)
                DimmingPageModel::setScreenPicture(*store, *context->platform.bookmarks, uuid, path);
        });
        connect(clear, &QPushButton::clicked, this, [store, context, uuid] {
            if (context->platform.bookmarks)
                DimmingPageModel::setScreenPicture(*store, *context->platform.bookmarks, uuid, std::nullopt);
        });
        m_screens->addWidget(name, line, 0);
        m_screens->addWidget(picture, line, 1);
        m_screens->addWidget(choose, line, 2);
        m_screens->addWidget(clear, line, 3);
        m_screenWidgets << name << picture << choose << clear;
        ++line;
    }
    m_screens->setColumnStretch(1, 1);
}

}  // namespace tamsinvale
