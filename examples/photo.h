#pragma once

#include <pixmill/adjust/TColorAdjQ3.h>
#include <pixmill/planar/TPImage.h>

#include <opencv2/core/mat.hpp>

#include <string>
#include <vector>

/// A photograph as packed B, G, R, x pixels, CV_8UC4 or CV_16UC4 as its file holds it.
/// @throws std::runtime_error  one line for a person: no such file, no picture.
cv::Mat loadPhoto(const std::string& path);

/// The same pixels at 8 bits (CV_8UC4) and at 16 bits (CV_16UC4).
cv::Mat as8Bit(const cv::Mat& photo);
cv::Mat as16Bit(const cv::Mat& photo);

/// Full-size R, G, B planes of a picture, CV_16UC1, in a planes[3].
void toPlanes(const TPImage& picture, cv::Mat planes[3]);

/// Packed display pixels of a picture, CV_8UC4.
cv::Mat toDisplay(const TPImage& picture);

/// A CV_16UC3 B, G, R picture for a 16-bit file.
cv::Mat toFile16(const cv::Mat planes[3]);

/// The colour differences follow the luma, which was `before`: they grow as it did, through the colour controls.
void followLuma(TPImage& picture, const cv::Mat& before, TColorAdjQ3& color);

/// Writes a picture file, of the kind that its ending names. @throws std::runtime_error
void store(const std::string& path, const cv::Mat& pixels);

/// Writes out/name and says so; the folder is made. @throws std::runtime_error
void save(const std::string& out, const std::string& name, const cv::Mat& pixels);

/// Writes `text` into the picture's lower left, dark on light.
void label(cv::Mat& picture, const std::string& text);

/// Pictures of one height side by side, with a gap.
cv::Mat sideBySide(const std::vector<cv::Mat>& pictures);
