// tamsinvale-inputclient: one window that prints the text typed into it and the clicks it receives.
//
// usage: tamsinvale-inputclient TITLE X Y WIDTH HEIGHT
// Prints "ready 0xID" once the window is exposed, then "text HEX" (UTF-8, hex-encoded) per key press that carries
// text and "click X Y" per mouse press, in window coordinates.
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QRasterWindow>
#include <cstdio>

namespace {

class InputWindow : public QRasterWindow {
protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter(this).fillRect(QRect(QPoint(0, 0), size()), QColor(0x30, 0x80, 0x30));
    }
    void exposeEvent(QExposeEvent* e) override
    {
        QRasterWindow::exposeEvent(e);
        if (!m_announced && isExposed()) {
            m_announced = true;
            std::printf("ready 0x%llx\n", static_cast<unsigned long long>(winId()));
            std::fflush(stdout);
        }
    }
    void keyPressEvent(QKeyEvent* e) override
    {
        if (e->text().isEmpty())
            return;
        std::printf("text %s\n", e->text().toUtf8().toHex().constData());
        std::fflush(stdout);
    }
    void mousePressEvent(QMouseEvent* e) override
    {
        const QPoint p = e->position().toPoint();
        std::printf("click %d %d\n", p.x(), p.y());
        std::fflush(stdout);
    }

private:
    bool m_announced = false;
};

}  // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 6) {
        std::fprintf(stderr, "usage: tamsinvale-inputclient TITLE X Y WIDTH HEIGHT\n");
        return 2;
    }
    InputWindow window;
    window.setTitle(args[1]);
    window.setGeometry(args[2].toInt(), args[3].toInt(), args[4].toInt(), args[5].toInt());
    window.show();
    return app.exec();
}
