// The Window Sizes page's widgets; rows and their warnings come from `WindowSizesPageModel`.
#include "WindowSizesPage.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "PageWidgets.h"
#include "WindowSizesPageModel.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

namespace {

// Replaces a field's text only when it differs and the user is not typing in it, so the caret never jumps.
void follow(QLineEdit* field, const QString& text)
{
    if (field->text() != text && !field->hasFocus())
        field->setText(text);
}

QLineEdit* sizeField(const QString& label, QWidget* parent)
{
    auto* field = new QLineEdit(parent);
    field->setFixedWidth(64);
    field->setPlaceholderText(label);
    field->setToolTip(WindowSizesPageModel::fieldHelp);
    field->setAccessibleName(label);
    return field;
}

}  // namespace

WindowSizesPage::WindowSizesPage(const SettingsWindowContext& context, QWidget* parent)
    : QWidget(parent), m_context(context)
{
    QVBoxLayout* layout = PageWidgets::pageLayout(this, QStringLiteral("Window Sizes"));
    layout->addWidget(PageWidgets::help(WindowSizesPageModel::explanation, this));
    layout->addWidget(PageWidgets::help(HotkeyCaptureTextField::helpText, this));
    m_rowsLayout = new QVBoxLayout;
    m_rowsLayout->setSpacing(6);
    layout->addLayout(m_rowsLayout);
    m_empty = PageWidgets::help(WindowSizesPageModel::emptyText, this);
    layout->addWidget(m_empty);
    auto* addRow = new QHBoxLayout;
    layout->addLayout(addRow);
    layout->addStretch(1);

    connect(m_context.settings, &SettingsStore::windowSizePresetsChanged, this, &WindowSizesPage::refresh);
    refresh();
    // Made after the first rows, so that Tab meets the rows first, as they are laid out.
    m_add = new QPushButton(QStringLiteral("Add Size"), this);
    m_add->setObjectName(QStringLiteral("addSize"));
    connect(m_add, &QPushButton::clicked, this, [this] { m_context.settings->addPreset(); });
    addRow->addWidget(m_add);
    addRow->addStretch(1);
}

WindowSizesPage::RowWidgets WindowSizesPage::makeRow(const QUuid& id)
{
    RowWidgets w;
    w.id = id;
    w.row = new QWidget(this);
    auto* line = new QHBoxLayout(w.row);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(6);
    SettingsStore* store = m_context.settings;

    line->addWidget(new QLabel(QStringLiteral("Name"), w.row));
    w.name = new QLineEdit(w.row);
    w.name->setMinimumWidth(80);
    w.name->setAccessibleName(QStringLiteral("Name"));
    line->addWidget(w.name, 1);
    line->addWidget(new QLabel(QStringLiteral("Width"), w.row));
    w.width = sizeField(QStringLiteral("Width"), w.row);
    line->addWidget(w.width);
    w.widthWarning = PageWidgets::warningMark(w.row);
    line->addWidget(w.widthWarning);
    line->addWidget(new QLabel(QStringLiteral("Height"), w.row));
    w.height = sizeField(QStringLiteral("Height"), w.row);
    line->addWidget(w.height);
    w.heightWarning = PageWidgets::warningMark(w.row);
    line->addWidget(w.heightWarning);
    w.hotKey = m_context.makeRecorder(w.row);
    w.hotKey->setMinimumWidth(120);  // the row fits the window's narrowest width without scrolling
    line->addWidget(w.hotKey);
    w.up = new QPushButton(QStringLiteral("↑"), w.row);
    w.down = new QPushButton(QStringLiteral("↓"), w.row);
    w.remove = new QPushButton(QStringLiteral("−"), w.row);
    w.up->setToolTip(QStringLiteral("Move up"));
    w.down->setToolTip(QStringLiteral("Move down"));
    w.remove->setToolTip(QStringLiteral("Remove this size"));
    for (QPushButton* b : {w.up, w.down, w.remove}) {
        b->setFixedWidth(30);
        line->addWidget(b);
    }

    connect(w.name, &QLineEdit::textEdited, this, [store, id](const QString& t) { store->setPresetName(id, t); });
    connect(w.width, &QLineEdit::textEdited, this, [store, id](const QString& t) { store->setPresetWidth(id, t); });
    connect(w.height, &QLineEdit::textEdited, this, [store, id](const QString& t) { store->setPresetHeight(id, t); });
    w.hotKey->onCapture = [store, id](const HotKeyConfig& config) { store->setPresetHotKey(id, config); };
    w.hotKey->onClear = [store, id] { store->setPresetHotKey(id, std::nullopt); };
    connect(w.up, &QPushButton::clicked, this, [store, id] { WindowSizesPageModel::move(*store, id, -1); });
    connect(w.down, &QPushButton::clicked, this, [store, id] { WindowSizesPageModel::move(*store, id, +1); });
    connect(w.remove, &QPushButton::clicked, this, [store, id] { store->removePreset(id); });
    return w;
}

void WindowSizesPage::rebuildRows()
{
    for (RowWidgets& w : m_rows) {
        w.row->hide();
        w.row->deleteLater();
    }
    m_rows.clear();
    for (const PresetRow& row : WindowSizesPageModel::rows(m_context.settings->settings())) {
        RowWidgets w = makeRow(row.id);
        m_rowsLayout->addWidget(w.row);
        m_rows.append(w);
    }
    // New rows join the end of the focus chain; Tab should meet them before "Add Size", as they are laid out.
    if (!m_rows.isEmpty() && m_add)
        setTabOrder(m_rows.last().remove, m_add);
}

void WindowSizesPage::refresh()
{
    const QList<PresetRow> rows = WindowSizesPageModel::rows(m_context.settings->settings());
    bool sameRows = rows.size() == m_rows.size();
    for (qsizetype i = 0; sameRows && i < rows.size(); ++i)
        sameRows = rows[i].id == m_rows[i].id;
    // Rows are rebuilt only when presets come, go or move, so typing in a field keeps its focus.
    if (!sameRows)
        rebuildRows();
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const PresetRow& row = rows[i];
        RowWidgets& w = m_rows[i];
        follow(w.name, row.name);
        follow(w.width, row.width);
        follow(w.height, row.height);
        w.widthWarning->setVisible(row.widthWarning.has_value());
        w.widthWarning->setToolTip(row.widthWarning.value_or(QString()));
        w.heightWarning->setVisible(row.heightWarning.has_value());
        w.heightWarning->setToolTip(row.heightWarning.value_or(QString()));
        if (!w.hotKey->isRecording())
            w.hotKey->setHotKey(row.hotKey);
        w.up->setEnabled(row.canMoveUp);
        w.down->setEnabled(row.canMoveDown);
    }
    m_empty->setVisible(rows.isEmpty());
}

}  // namespace tamsinvale
