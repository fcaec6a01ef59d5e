// The app switcher's panel window: draws the view's rows (icon, name, key caps), the filter field and the hints,
// and forwards clicks and any keys that reach the window itself. Keys normally arrive through the keyboard
// capture, which is why the panel never needs the focus to work.
#pragma once

#include <QHash>
#include <QImage>
#include <QPointer>
#include <QRasterWindow>
#include <QRegion>
#include <QSet>
#include <functional>

#include "SwitcherKeyEvent.h"

namespace tamsinvale {

class AppIconStore;
class SwitcherView;

class FocusablePanel : public QRasterWindow {
    Q_OBJECT
public:
    static constexpr int panelWidth = 520;
    static constexpr int rowHeight = 40;
    static constexpr int headerHeight = 56;
    static constexpr int footerHeight = 34;
    static constexpr int maxVisibleRows = 12;

    explicit FocusablePanel(AppIconStore* icons);

    std::function<void()> onEscape;

    void setView(SwitcherView* view);
    SwitcherView* view() const { return m_view; }
    // Draws the frame the panel will show next, ahead of time, so that a showing costs a map and one copy.
    void prepareFrame();
    bool hasPreparedFrame() const { return m_frameValid; }
    // Row pictures drawn so far: a row is drawn again only when its name, keys, selection or icon change.
    int rowsRendered() const { return m_rowsRendered; }
    // Frames drawn so far (a frame taken from an earlier, identical showing is not drawn).
    int framesComposed() const { return m_framesComposed; }
    const QImage& preparedFrame() const { return m_frame; }
    // The part of the panel the last change asked to repaint.
    const QRegion& lastDirtyRegion() const { return m_lastDirty; }
    // The panel's size for the list it shows, within the space available.
    QSize preferredSize(const QSize& available) const;
    // The row under a point in the panel, if any.
    std::optional<int> rowAt(const QPoint& point) const;
    int firstVisibleRow() const { return m_firstVisible; }

signals:
    void keyPressed(const tamsinvale::SwitcherKeyEvent& event);
    void exposedOnScreen();

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;
    void exposeEvent(QExposeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    struct RowPicture {
        QImage image;
        QString iconKey;
    };
    // What a frame shows: equal signatures, equal pixels.
    struct FrameSignature {
        QSize size;
        qreal ratio = 0;
        QString filter;
        QString headerHint;
        bool searchFocused = false;
        QList<qint64> rowImages;  // the visible rows' pictures, by their images' cache keys
        bool operator==(const FrameSignature&) const = default;
    };
    struct KeptFrame {
        FrameSignature signature;
        QImage image;
    };

    void viewChanged();
    void rowsChanged();
    void iconsChanged(const QSet<QString>& keys);
    void invalidate(const QRegion& region);
    QRect rowRect(int index) const;
    const QImage& rowPicture(int index, bool selected);
    void composeFrame();
    FrameSignature signatureOfFrame(const QSize& frameSize);

    AppIconStore* m_icons;
    QPointer<SwitcherView> m_view;
    QList<QMetaObject::Connection> m_viewConnections;
    int m_firstVisible = 0;
    QHash<QString, RowPicture> m_rowPictures;  // by row identity, content and selection
    QImage m_frame;
    bool m_frameValid = false;
    std::optional<QRegion> m_rowsOnlyDirty;  // set between a rows-only change and the `changed` that follows it
    QRegion m_lastDirty;
    int m_rowsRendered = 0;
    // The last frames shown as a showing opens (no filter typed), most recent first: a showing like an earlier
    // one takes its frame instead of drawing it again.
    QList<KeptFrame> m_openingFrames;
    int m_framesComposed = 0;
};

}  // namespace tamsinvale
