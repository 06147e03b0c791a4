// Renders the program's icon (a mosaic of four tiles on a rounded square) as
// PNG files at the sizes desktops look for, and as a scalable SVG drawn from
// the same geometry, so the two never disagree.
#include <QColor>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QTextStream>

#include <array>

namespace {

struct Tile {
    QRectF rect; // in a 256 x 256 design square
    QColor color;
};

const QRectF kBackground(8, 8, 240, 240);
constexpr qreal kBackgroundRadius = 44;
constexpr qreal kTileRadius = 14;
const QColor kBackgroundColor(0x24, 0x2f, 0x45);

const std::array<Tile, 4> &tiles()
{
    static const std::array<Tile, 4> all{{
        {QRectF(40, 40, 104, 104), QColor(0xf2, 0xa6, 0x3b)},
        {QRectF(156, 40, 60, 104), QColor(0x4f, 0xb3, 0xbf)},
        {QRectF(40, 156, 60, 60), QColor(0x8e, 0xc0, 0x5a)},
        {QRectF(112, 156, 104, 60), QColor(0xe2, 0x5d, 0x6a)},
    }};
    return all;
}

QImage render(int size)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size / 256.0, size / 256.0);
    painter.setPen(Qt::NoPen);
    painter.setBrush(kBackgroundColor);
    painter.drawRoundedRect(kBackground, kBackgroundRadius, kBackgroundRadius);
    for (const Tile &tile : tiles()) {
        painter.setBrush(tile.color);
        painter.drawRoundedRect(tile.rect, kTileRadius, kTileRadius);
    }
    return image;
}

QString rect(const QRectF &r, qreal radius, const QColor &color)
{
    return QStringLiteral("  <rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" rx=\"%5\" fill=\"%6\"/>\n")
        .arg(r.x())
        .arg(r.y())
        .arg(r.width())
        .arg(r.height())
        .arg(radius)
        .arg(color.name());
}

bool writeSvg(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    QTextStream out(&file);
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"256\" height=\"256\" viewBox=\"0 0 256 256\">\n"
        << rect(kBackground, kBackgroundRadius, kBackgroundColor);
    for (const Tile &tile : tiles())
        out << rect(tile.rect, kTileRadius, tile.color);
    out << "</svg>\n";
    return out.status() == QTextStream::Ok;
}

} // namespace

// tessary-icon <output folder>: writes <folder>/<N>x<N>/tessary.png and
// <folder>/scalable/tessary.svg.
int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc != 2)
        return 2;
    const QDir out(QString::fromLocal8Bit(argv[1]));
    for (int size : {16, 22, 24, 32, 48, 64, 128, 256, 512}) {
        const QString folder = QStringLiteral("%1x%1").arg(size);
        if (!out.mkpath(folder) || !render(size).save(out.filePath(folder + QStringLiteral("/tessary.png"))))
            return 1;
    }
    if (!out.mkpath(QStringLiteral("scalable")) || !writeSvg(out.filePath(QStringLiteral("scalable/tessary.svg"))))
        return 1;
    return 0;
}
