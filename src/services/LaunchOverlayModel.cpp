// Card sizing for the launch overlay: measured message width plus padding, clamped.
#include "LaunchOverlayModel.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <algorithm>

namespace tamsinvale {

QFont LaunchOverlayModel::messageFont()
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    // The headline size of the desktop's general font, so the card follows the user's text size.
    font.setPointSizeF(QFontDatabase::systemFont(QFontDatabase::GeneralFont).pointSizeF() + 3);
    font.setWeight(QFont::DemiBold);
    return font;
}

int LaunchOverlayModel::cardWidthFor(const QString& message)
{
    const double measured = QFontMetricsF(messageFont()).horizontalAdvance(message);
    return std::clamp(int(measured) + cardPadding, minimumCardWidth, maximumCardWidth);
}

void LaunchOverlayModel::update(const QString& message, const std::optional<QImage>& icon)
{
    m_message = message;
    m_icon = icon;
    m_cardWidth = cardWidthFor(message);
    emit changed();
}

}  // namespace tamsinvale
