#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "qor/Referenced.h"
#include "qorSensor/Resolution.h"

namespace qorSensor {

// The colour image of a camera: pixels of one or more channels of one numeric type, rows
// top-down, each row left to right, without padding between pixels or rows.
//
// Each output channel is a weighted sum of the source colours red, green, blue and alpha, given
// by the colour mapping matrix, in the range 0 to 1 for an opaque, fully lit colour. The channel
// type decides how that value is stored: integer types scale it to their full range (255 for
// UINT8, 65535 for UINT16, 127 for INT8, ...) with rounding and saturation, floating-point types
// store it as it is. So an identity matrix with three UINT8 channels makes rgb8, rows B, G, R make
// bgr8, a row of luminance weights makes mono8, and four FLOAT32 channels make linear RGBA floats.
//
// With the MOSAIC_2X2 layout the output is a colour filter array: each pixel carries the one
// channel of its place in a 2 × 2 cell (channel 0 top left, 1 top right, 2 bottom left,
// 3 bottom right), so rows R, G, G, B make an RGGB Bayer image of one value per pixel.
//
// A camera fills the output each time it renders (qorSensor::Camera); the pixels can also be set
// by hand.
class CameraColorOutput : public qor::Referenced {
  public:
    // The numeric type of a channel value. The codes run by size, three to a size: signed,
    // unsigned, floating point. Codes 3, 6, 10 and 11 are not used by this platform.
    enum ChannelType : std::int32_t {
        NONE = 0,  // no type: the output carries no colour channels this platform can write
        INT8 = 1,
        UINT8 = 2,
        INT16 = 4,
        UINT16 = 5,
        INT32 = 7,
        UINT32 = 8,
        FLOAT32 = 9,
        FLOAT64 = 12
    };

    // How channels lie in the pixels.
    enum PixelLayout : std::int32_t {
        INTERLEAVED = 0,  // every pixel holds all channels, channel 0 first
        MOSAIC_2X2 = 1    // every pixel holds one channel, after its place in a 2 × 2 cell
    };

    // Row r holds the weights of red, green, blue and alpha in output channel r; stored row
    // after row, so the first four values are row 0.
    using ColorMappingMatrix = std::array<double, 16>;

    // A view of the pixel bytes: data points at the first byte of the first pixel of the top row.
    struct Buffer {
        const std::uint8_t* data;  // first byte; nullptr when the buffer is empty
        std::uint64_t size;        // bytes in the buffer, at least element size × width × height
    };

    // Returns the bytes of one value of type: 1, 2, 4 or 8, and 0 for NONE and for codes this
    // platform does not use.
    static std::uint64_t sizeOf(ChannelType type) noexcept;

    // Returns the matrix whose rows 0 to 3 are the identity: red, green, blue, alpha.
    static ColorMappingMatrix identityMatrix() noexcept;

    // Creates an output of resolution with channelCount channels of channelType per pixel (one
    // per pixel with MOSAIC_2X2), mapped from the source colours by matrix; every byte is 0.
    // Throws std::invalid_argument for a negative resolution, a channel type this platform does
    // not use, or a MOSAIC_2X2 layout whose channel count is not 4.
    CameraColorOutput(Resolution resolution, std::uint64_t channelCount, ChannelType channelType,
                      const ColorMappingMatrix& matrix, PixelLayout layout = INTERLEAVED);

    // Returns the image size in pixels, width first.
    virtual Resolution getResolution() const;

    // Returns the bytes of one pixel, all its channels together.
    virtual std::uint64_t getElementSize() const;

    // Returns the pixel bytes. The view stays valid until the pixels are next replaced.
    virtual Buffer getData() const;

    // Returns the number of channels per pixel (with MOSAIC_2X2, of the 2 × 2 cell).
    std::uint64_t getChannelCount() const noexcept;

    // Returns the numeric type of the channel values.
    ChannelType getChannelType() const noexcept;

    // Returns the colour mapping matrix, row-major.
    ColorMappingMatrix getColorMappingMatrix() const noexcept;

    // Returns how channels lie in the pixels.
    PixelLayout getPixelLayout() const noexcept;

    // Replaces the pixel bytes with bytes, which may be longer than the image needs (the image is
    // the leading part). Throws std::invalid_argument when they are shorter than element size ×
    // width × height.
    void setData(std::vector<std::uint8_t> bytes);

    // Writes every pixel from a source image of the output's resolution whose pixels hold 8-bit
    // red, green, blue (sourceChannels 3, alpha taken as opaque) or red, green, blue and alpha
    // (sourceChannels 4), applying the colour mapping matrix and the channel type. With bottomUp
    // the source's first row is the bottom one, as OpenGL reads them; the output's rows are
    // top-down either way. Allocates nothing. Throws std::invalid_argument when sourceChannels is
    // not 3 or 4, the output has more than 4 channels (the matrix has 4 rows) or no channel type.
    void setFromColors(const std::uint8_t* pixels, std::uint64_t sourceChannels, bool bottomUp);

  protected:
    ~CameraColorOutput() override;

  private:
    Resolution m_resolution;
    std::uint64_t m_channelCount;
    ChannelType m_channelType;
    ColorMappingMatrix m_matrix;
    PixelLayout m_layout;
    std::vector<std::uint8_t> m_pixels;
};

}  // namespace qorSensor
