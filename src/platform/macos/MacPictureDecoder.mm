// CGImageSource reads the file's facts and makes the thumbnail; a CGBitmapContext over the QImage's own pixels
// turns it into our format without another copy. Every Create / Copy result is released here.
#include "MacPictureDecoder.h"

#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>
#import <ImageIO/ImageIO.h>
#import <UniformTypeIdentifiers/UniformTypeIdentifiers.h>

#include <QFile>
#include <cstdint>

namespace tamsinvale {

namespace {

// Releases a Core Foundation object this file owns (the Create / Copy rule).
template <typename T>
class Owned {
public:
    explicit Owned(T ref = nullptr) : m_ref(ref) {}
    ~Owned()
    {
        if (m_ref)
            CFRelease(m_ref);
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    T get() const { return m_ref; }
    explicit operator bool() const { return m_ref != nullptr; }

private:
    T m_ref;
};

Owned<CGImageSourceRef> openSource(const QString& path)
{
    NSURL* url = [NSURL fileURLWithPath:path.toNSString()];
    // A source for a file ImageIO cannot read is still created; what it holds is asked below.
    return Owned<CGImageSourceRef>(CGImageSourceCreateWithURL((__bridge CFURLRef)url, nullptr));
}

int intProperty(CFDictionaryRef properties, CFStringRef key, int fallback)
{
    const auto number = static_cast<CFNumberRef>(CFDictionaryGetValue(properties, key));
    int value = 0;
    if (!number || CFGetTypeID(number) != CFNumberGetTypeID() || !CFNumberGetValue(number, kCFNumberIntType, &value))
        return fallback;
    return value;
}

CGBitmapInfo bitmapInfo(CGImageAlphaInfo alpha)
{
    return static_cast<CGBitmapInfo>(static_cast<std::uint32_t>(alpha)
                                     | static_cast<std::uint32_t>(kCGBitmapByteOrder32Host));
}

}  // namespace

PictureFileFacts MacPictureDecoder::inspect(const QString& path)
{
    PictureFileFacts out;
    if (!QFile::exists(path)) {
        out.error = QStringLiteral("no such file");
        return out;
    }
    const Owned<CGImageSourceRef> source = openSource(path);
    if (!source || CGImageSourceGetCount(source.get()) < 1) {
        out.error = QStringLiteral("not a picture ImageIO can read");
        return out;
    }
    // HEIC and HEIF both conform to public.heif-standard (public.heic does not conform to public.heif).
    if (const CFStringRef type = CGImageSourceGetType(source.get())) {
        UTType* uti = [UTType typeWithIdentifier:(__bridge NSString*)type];
        UTType* heifFamily = [UTType typeWithIdentifier:@"public.heif-standard"];
        out.heif = uti && heifFamily && [uti conformsToType:heifFamily];
    }
    const Owned<CFDictionaryRef> properties(CGImageSourceCopyPropertiesAtIndex(source.get(), 0, nullptr));
    if (!properties) {
        out.error = QStringLiteral("the picture's properties cannot be read");
        return out;
    }
    out.storedSize = QSize(intProperty(properties.get(), kCGImagePropertyPixelWidth, 0),
                           intProperty(properties.get(), kCGImagePropertyPixelHeight, 0));
    out.orientation = intProperty(properties.get(), kCGImagePropertyOrientation, 1);
    out.ok = !out.storedSize.isEmpty();
    if (!out.ok)
        out.error = QStringLiteral("the picture has no size");
    return out;
}

QImage MacPictureDecoder::thumbnail(const QString& path, int maxPixelSize, QString* error)
{
    const Owned<CGImageSourceRef> source = openSource(path);
    if (!source || CGImageSourceGetCount(source.get()) < 1) {
        if (error)
            *error = QStringLiteral("not a picture ImageIO can read");
        return {};
    }
    // Always from the full picture (an embedded preview is too small for a screen), turned as it is shown.
    NSDictionary* options = @{
        (__bridge NSString*)kCGImageSourceCreateThumbnailFromImageAlways : @YES,
        (__bridge NSString*)kCGImageSourceCreateThumbnailWithTransform : @YES,
        (__bridge NSString*)kCGImageSourceThumbnailMaxPixelSize : @(maxPixelSize),
    };
    const CGImageRef image = CGImageSourceCreateThumbnailAtIndex(source.get(), 0, (__bridge CFDictionaryRef)options);
    if (!image) {
        if (error)
            *error = QStringLiteral("ImageIO could not decode the picture");
        return {};
    }
    const Owned<CGImageRef> owned(image);
    const size_t width = CGImageGetWidth(image);
    const size_t height = CGImageGetHeight(image);
    const CGImageAlphaInfo alpha = CGImageGetAlphaInfo(image);
    const bool hasAlpha = alpha != kCGImageAlphaNone && alpha != kCGImageAlphaNoneSkipFirst
        && alpha != kCGImageAlphaNoneSkipLast;
    QImage out(int(width), int(height), hasAlpha ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    if (out.isNull()) {
        if (error)
            *error = QStringLiteral("no memory for a %1 × %2 picture").arg(width).arg(height);
        return {};
    }
    // RGB32 wants its unused byte at 0xff; the context leaves it as it finds it.
    out.fill(hasAlpha ? 0x00000000u : 0xff000000u);
    const Owned<CGColorSpaceRef> sRGB(CGColorSpaceCreateWithName(kCGColorSpaceSRGB));
    // Qt's 32-bit formats are 0xAARRGGBB in host byte order: alpha (or the skipped byte) first, host order.
    const Owned<CGContextRef> context(CGBitmapContextCreate(
        out.bits(), width, height, 8, size_t(out.bytesPerLine()), sRGB.get(),
        bitmapInfo(hasAlpha ? kCGImageAlphaPremultipliedFirst : kCGImageAlphaNoneSkipFirst)));
    if (!context) {
        if (error)
            *error = QStringLiteral("could not draw the picture into memory");
        return {};
    }
    CGContextDrawImage(context.get(), CGRectMake(0, 0, CGFloat(width), CGFloat(height)), image);
    return out;
}

}  // namespace tamsinvale
