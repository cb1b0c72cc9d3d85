// Picture files as instruments deliver them (BMP, WMF, EMF, PNG, JPEG, PCX)
// read into an image, and images written back as files.
#pragma once

#include <QImage>

#include <cstdint>
#include <string>
#include <string_view>

namespace qv::ui {

// What a picture may be at most: anything larger is refused (raster files)
// or drawn smaller (metafiles), so a damaged file cannot take the memory.
inline constexpr int kPictureMaxSide = 16384;
inline constexpr int64_t kPictureMaxPixels = int64_t{32} << 20;
inline constexpr int64_t kPictureMaxFileBytes = int64_t{192} << 20;

enum class PictureFormat { Unknown, Bmp, Png, Jpeg, Wmf, Emf, Pcx };

// The format the bytes are in, judged by their content only.
PictureFormat sniffPicture(std::string_view bytes);
const char* pictureFormatName(PictureFormat f);

// Reads an instrument's picture file into an image, choosing the decoder by the
// file's content (not its name): BMP, PNG, JPEG through Qt's readers; WMF through
// libwmf; EMF through libemf2svg and Qt SVG; PCX through FreeImage.
// False with a short reason in why when the file is missing, unreadable, of no
// known format, corrupt or absurdly large.
bool loadPicture(const std::string& path, QImage& out, std::string& why);
// The same for a file's bytes already in memory.
bool decodePicture(std::string_view bytes, QImage& out, std::string& why);
// The route the MYE scope's PNG takes: the name is trimmed, the file decoded as an
// image; no image (null QImage) on any failure, without a message.
QImage loadPictureDirect(const std::string& path);
// Writes the picture in the format its file name's extension names (any letter
// case): bmp, jpg/jpeg, png through Qt's writers; wmf, emf, pcx through the image
// writers of src/imaging. An unknown or missing extension writes BMP.
bool savePicture(const QImage& picture, const std::string& path, std::string& why);

}  // namespace qv::ui
