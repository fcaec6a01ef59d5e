// What the launch card shows: the message, the target's icon and the card width that fits the message.
#pragma once

#include <QFont>
#include <QImage>
#include <QObject>
#include <QString>
#include <optional>

namespace tamsinvale {

class LaunchOverlayModel : public QObject {
    Q_OBJECT
public:
    static constexpr int minimumCardWidth = 280;
    static constexpr int maximumCardWidth = 600;
    static constexpr int cardPadding = 56;

    using QObject::QObject;

    const QString& message() const { return m_message; }
    const std::optional<QImage>& icon() const { return m_icon; }
    int cardWidth() const { return m_cardWidth; }

    // Sets message and icon and sizes the card for the message.
    void update(const QString& message, const std::optional<QImage>& icon);

    // The headline-sized monospaced semibold font the message is measured and drawn in.
    static QFont messageFont();
    static int cardWidthFor(const QString& message);

signals:
    void changed();

private:
    QString m_message;
    std::optional<QImage> m_icon;
    int m_cardWidth = minimumCardWidth;
};

}  // namespace tamsinvale
