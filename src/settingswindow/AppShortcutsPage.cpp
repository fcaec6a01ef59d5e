// The App Shortcuts page's widgets; rows and refusals come from `AppShortcutsPageModel`.
#include "AppShortcutsPage.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "PageWidgets.h"
#include "switcher/AppDiscoveryStore.h"
#include "switcher/AppIconStore.h"
#include "switcher/ShortcutStore.h"

namespace tamsinvale {

namespace {

constexpr int iconSide = 24;

QLineEdit* keyField(const QString& name, QWidget* parent)
{
    auto* field = new QLineEdit(parent);
    // A key is one character: what is typed replaces what was there.
    field->setMaxLength(2);
    QObject::connect(field, &QLineEdit::textEdited, field, [field](const QString& text) {
        if (text.size() > 1)
            field->setText(text.right(1));
    });
    field->setFixedWidth(34);
    field->setAlignment(Qt::AlignCenter);
    field->setAccessibleName(name);
    return field;
}

void follow(QLineEdit* field, const QString& text)
{
    if (field->text() != text && !field->hasFocus())
        field->setText(text);
}

// Replaces a box's grid with a fresh one (the old rows go with their widgets).
QGridLayout* freshGrid(QWidget* box)
{
    for (QWidget* child : box->findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        child->hide();
        child->deleteLater();
    }
    delete box->layout();
    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(4);
    return grid;
}

}  // namespace

AppShortcutsPage::AppShortcutsPage(const SettingsWindowContext& context, QWidget* parent)
    : QWidget(parent), m_context(context)
{
    QVBoxLayout* layout = PageWidgets::pageLayout(this, QStringLiteral("App Shortcuts"));
    layout->addWidget(PageWidgets::help(AppShortcutsPageModel::explanation, this));
    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("shortcutMessage"));
    m_message->setWordWrap(true);
    m_message->setStyleSheet(QStringLiteral("color: #c0392b;"));
    m_message->setVisible(false);
    layout->addWidget(m_message);

    layout->addWidget(PageWidgets::sectionTitle(QStringLiteral("Installed Apps"), this));
    m_appsBox = new QWidget(this);
    layout->addWidget(m_appsBox);

    layout->addWidget(PageWidgets::separator(this));
    layout->addWidget(PageWidgets::sectionTitle(QStringLiteral("Custom Shortcuts"), this));
    layout->addWidget(
        PageWidgets::help(QStringLiteral("Any application, or a python script that runs with python3."), this));
    m_customBox = new QWidget(this);
    layout->addWidget(m_customBox);
    m_noCustom = PageWidgets::help(QStringLiteral("No custom shortcuts yet."), this);
    layout->addWidget(m_noCustom);
    auto* addRow = new QHBoxLayout;
    layout->addLayout(addRow);

    m_orphansSection = new QWidget(this);
    auto* orphans = new QVBoxLayout(m_orphansSection);
    orphans->setContentsMargins(0, 0, 0, 0);
    orphans->addWidget(PageWidgets::separator(m_orphansSection));
    orphans->addWidget(PageWidgets::sectionTitle(QStringLiteral("Apps No Longer Installed"), m_orphansSection));
    orphans->addWidget(PageWidgets::help(AppShortcutsPageModel::orphansHelp, m_orphansSection));
    m_orphansBox = new QWidget(m_orphansSection);
    orphans->addWidget(m_orphansBox);
    layout->addWidget(m_orphansSection);
    layout->addStretch(1);

    if (m_context.shortcuts)
        connect(m_context.shortcuts, &ShortcutStore::changed, this, &AppShortcutsPage::refresh);
    if (m_context.discovery)
        connect(m_context.discovery, &AppDiscoveryStore::appsChanged, this, &AppShortcutsPage::refresh);
    if (m_context.icons)
        connect(m_context.icons, &AppIconStore::versionChanged, this, &AppShortcutsPage::refreshIcons);
    refresh();
    // Made after the first rows, so that Tab meets the rows first, as they are laid out.
    m_addApp = new QPushButton(QStringLiteral("Add App…"), this);
    m_addScript = new QPushButton(QStringLiteral("Add Python Script…"), this);
    addRow->addWidget(m_addApp);
    addRow->addWidget(m_addScript);
    addRow->addStretch(1);
    connectAddButtons();
}

void AppShortcutsPage::connectAddButtons()
{
    const bool canChoose = bool(m_context.chooseFile) && m_context.shortcuts;
    m_addApp->setEnabled(canChoose);
    m_addScript->setEnabled(canChoose);
    auto add = [this](const QString& title, const QString& filter) {
        if (const auto path = m_context.chooseFile(title, filter))
            m_context.shortcuts->addShortcut(*path);
    };
    connect(m_addApp, &QPushButton::clicked, this, [add] {
        add(QStringLiteral("Choose an app"), QStringLiteral("Applications (*.desktop *.app)"));
    });
    connect(m_addScript, &QPushButton::clicked, this, [add] {
        add(QStringLiteral("Choose a python script"), QStringLiteral("Python scripts (*.py)"));
    });
}

QList<DiscoveredApp> AppShortcutsPage::apps() const
{
    return m_context.discovery ? m_context.discovery->apps() : QList<DiscoveredApp>();
}

AppShortcutsPage::RowWidgets AppShortcutsPage::makeRow(QGridLayout* grid, int line, const ShortcutRow& row, bool custom)
{
    QWidget* box = grid->parentWidget();
    RowWidgets w;
    w.row = row;
    w.icon = new QLabel(box);
    w.icon->setFixedSize(iconSide, iconSide);
    auto* name = new QLabel(row.name, box);
    if (custom)
        name->setText(row.name.toHtmlEscaped() + QStringLiteral("<br><small>") + row.detail.toHtmlEscaped()
                      + QStringLiteral("</small>"));
    w.firstKey = keyField(row.name + QStringLiteral(" first key"), box);
    w.secondKey = keyField(row.name + QStringLiteral(" second key"), box);
    w.firstKey->setText(row.firstKey);
    w.secondKey->setText(row.secondKey);
    grid->addWidget(w.icon, line, 0);
    grid->addWidget(name, line, 1);
    grid->addWidget(w.firstKey, line, 2);
    grid->addWidget(w.secondKey, line, 3);
    if (custom) {
        w.remove = new QPushButton(QStringLiteral("Remove"), box);
        const QUuid id = row.shortcutId;
        ShortcutStore* store = m_context.shortcuts;
        connect(w.remove, &QPushButton::clicked, this, [store, id] { store->remove(id); });
        grid->addWidget(w.remove, line, 4);
    }
    // Applied as typed; a refused key goes back to what is stored, and the message says who holds it.
    const int index = custom ? int(m_customRows.size()) : int(m_appRows.size());
    auto apply = [this, index, custom] {
        const QList<RowWidgets>& rows = custom ? m_customRows : m_appRows;
        if (index < rows.size())
            applyKeys(rows[index], custom);
    };
    connect(w.firstKey, &QLineEdit::textEdited, this, apply);
    connect(w.secondKey, &QLineEdit::textEdited, this, apply);
    return w;
}

void AppShortcutsPage::applyKeys(const RowWidgets& w, bool custom)
{
    if (!m_context.shortcuts)
        return;
    const QList<DiscoveredApp> all = apps();
    std::optional<QString> refusal;
    if (custom) {
        refusal = AppShortcutsPageModel::setCustomKeys(*m_context.shortcuts, all, w.row.shortcutId,
                                                       w.firstKey->text(), w.secondKey->text());
    } else {
        for (const DiscoveredApp& app : all) {
            if (app.id == w.row.appId) {
                refusal = AppShortcutsPageModel::setDiscoveredKeys(*m_context.shortcuts, all, app, w.firstKey->text(),
                                                                   w.secondKey->text());
                break;
            }
        }
    }
    showMessage(refusal);
    if (refusal) {
        // Nothing changed in the store: show what it holds again.
        const QList<ShortcutRow> rows = custom ? AppShortcutsPageModel::customRows(*m_context.shortcuts)
                                               : AppShortcutsPageModel::discoveredRows(*m_context.shortcuts, all);
        for (const ShortcutRow& row : rows) {
            if (custom ? row.shortcutId == w.row.shortcutId : row.appId == w.row.appId) {
                w.firstKey->setText(row.firstKey);
                w.secondKey->setText(row.secondKey);
            }
        }
    }
}

void AppShortcutsPage::showMessage(const std::optional<QString>& text)
{
    m_message->setText(text.value_or(QString()));
    m_message->setVisible(text.has_value());
}

void AppShortcutsPage::rebuild()
{
    const QList<DiscoveredApp> all = apps();
    m_appRows.clear();
    QGridLayout* grid = freshGrid(m_appsBox);
    int line = 0;
    if (m_context.shortcuts) {
        for (const ShortcutRow& row : AppShortcutsPageModel::discoveredRows(*m_context.shortcuts, all)) {
            RowWidgets w = makeRow(grid, line++, row, false);
            m_appRows.append(w);
        }
    }
    grid->setColumnStretch(1, 1);

    m_customRows.clear();
    grid = freshGrid(m_customBox);
    line = 0;
    if (m_context.shortcuts) {
        for (const ShortcutRow& row : AppShortcutsPageModel::customRows(*m_context.shortcuts)) {
            RowWidgets w = makeRow(grid, line++, row, true);
            m_customRows.append(w);
        }
    }
    grid->setColumnStretch(1, 1);
    m_noCustom->setVisible(m_customRows.isEmpty());
    // New rows join the end of the focus chain; Tab should meet them in the order they are laid out.
    QWidget* lastRowWidget = !m_customRows.isEmpty() ? static_cast<QWidget*>(m_customRows.last().remove)
        : !m_appRows.isEmpty()                      ? static_cast<QWidget*>(m_appRows.last().secondKey)
                                                    : nullptr;
    if (lastRowWidget && m_addApp) {
        setTabOrder(lastRowWidget, m_addApp);
        setTabOrder(m_addApp, m_addScript);
    }

    grid = freshGrid(m_orphansBox);
    m_orphans = m_context.shortcuts ? AppShortcutsPageModel::orphanRows(*m_context.shortcuts, all) : QList<OrphanRow>();
    line = 0;
    for (const OrphanRow& orphan : m_orphans) {
        grid->addWidget(new QLabel(orphan.bindingKey, m_orphansBox), line, 0);
        grid->addWidget(new QLabel(orphan.keysText, m_orphansBox), line, 1);
        auto* forget = new QPushButton(QStringLiteral("Forget"), m_orphansBox);
        ShortcutStore* store = m_context.shortcuts;
        const QString id = orphan.bindingKey;
        connect(forget, &QPushButton::clicked, this, [store, id] { store->removeOrphan(id); });
        grid->addWidget(forget, line, 2);
        ++line;
    }
    grid->setColumnStretch(1, 1);
    m_orphansSection->setVisible(!m_orphans.isEmpty());
    refreshIcons();
}

void AppShortcutsPage::refresh()
{
    if (!m_context.shortcuts)
        return;
    const QList<DiscoveredApp> all = apps();
    const QList<ShortcutRow> appRows = AppShortcutsPageModel::discoveredRows(*m_context.shortcuts, all);
    const QList<ShortcutRow> customRows = AppShortcutsPageModel::customRows(*m_context.shortcuts);
    bool same = appRows.size() == m_appRows.size() && customRows.size() == m_customRows.size()
        && AppShortcutsPageModel::orphanRows(*m_context.shortcuts, all) == m_orphans;
    for (qsizetype i = 0; same && i < appRows.size(); ++i)
        same = appRows[i].appId == m_appRows[i].row.appId && appRows[i].name == m_appRows[i].row.name;
    for (qsizetype i = 0; same && i < customRows.size(); ++i)
        same = customRows[i].shortcutId == m_customRows[i].row.shortcutId && customRows[i].name == m_customRows[i].row.name;
    // The rows stay while only keys change, so the field being typed in keeps its focus.
    if (!same) {
        rebuild();
        return;
    }
    for (qsizetype i = 0; i < appRows.size(); ++i) {
        m_appRows[i].row = appRows[i];
        follow(m_appRows[i].firstKey, appRows[i].firstKey);
        follow(m_appRows[i].secondKey, appRows[i].secondKey);
    }
    for (qsizetype i = 0; i < customRows.size(); ++i) {
        m_customRows[i].row = customRows[i];
        follow(m_customRows[i].firstKey, customRows[i].firstKey);
        follow(m_customRows[i].secondKey, customRows[i].secondKey);
    }
}

void AppShortcutsPage::refreshIcons()
{
    if (!m_context.icons)
        return;
    auto paint = [this](const RowWidgets& w, const QString& key) {
        const auto icon = m_context.icons->icon(key, w.row.iconPath.isEmpty() ? std::nullopt
                                                                             : std::optional<QString>(w.row.iconPath));
        if (icon && !icon->isNull())
            w.icon->setPixmap(QPixmap::fromImage(icon->scaled(iconSide, iconSide, Qt::KeepAspectRatio,
                                                              Qt::SmoothTransformation)));
    };
    for (const RowWidgets& w : m_appRows)
        paint(w, w.row.appId);
    for (const RowWidgets& w : m_customRows)
        paint(w, AppShortcut::idString(w.row.shortcutId));
}

}  // namespace tamsinvale
