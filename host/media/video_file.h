// A video of pictures as an MP4 file that browsers play: H.264, 8 bits, 4:2:0.
#pragma once

#include <memory>
#include <opencv2/core.hpp>
#include <string>

namespace host {

class VideoFile {
  public:
    struct Setup {
        std::string path;  // any name
        cv::Size size;     // of every picture, even numbers
        double frames_per_second = 15.0;
    };

    // Throws std::runtime_error with one sentence when the file or its encoder cannot be opened.
    explicit VideoFile(const Setup& setup);
    // Without finish() no player can open the file.
    ~VideoFile();
    VideoFile(const VideoFile&) = delete;
    VideoFile& operator=(const VideoFile&) = delete;

    // Appends a picture of 8-bit BGR. Throws std::runtime_error when it cannot be written, which
    // may show only some pictures later, because the encoder holds a few back.
    void write(const cv::Mat& picture);
    // Ends the file. Throws std::runtime_error when not everything could be written.
    void finish();

  private:
    struct Encoder;
    std::unique_ptr<Encoder> encoder_;
};

}  // namespace host
