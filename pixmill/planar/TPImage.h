#pragma once

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// The library's planar picture: full-size 16-bit luma, two half-size 16-bit colour differences, a half-size 8-bit
/// mask.
class PIXMILL_API TPImage {
public:
    cv::Mat m_Y;    ///< CV_16UC1, H x W: luma.
    cv::Mat m_Dr;   ///< CV_16UC1, half size: red difference, 32768 is no colour.
    cv::Mat m_Db;   ///< CV_16UC1, half size: blue difference, 32768 is no colour.
    cv::Mat m_mask; ///< CV_8UC1, half size.
    int m_uid = 0;  ///< Version id of this object's pixels.

    static int m_count;                       ///< Number of live objects, and the source of ids.
    static unsigned char* m_lutFullToEdge_p;  ///< 65,536 entries, the host's.
    static unsigned short* m_lutEdgeToFull_p; ///< 256 entries, the host's.

    TPImage(int width, int height);
    TPImage(const TPImage& other);
    ~TPImage();
    TPImage& operator=(const TPImage& other);

    void create(int width, int height, bool);
    void release();
    TPImage clone(bool withY) const;
    void copyTo(TPImage& dst, bool withY) const;
    int uid() const { return m_uid; }
    void updateUid() { ++m_uid; }

    void convertFrom(const unsigned char* src, int width, int height, int stride);
    void convertFrom(const unsigned short* src, int width, int height, int stride);
    void convertFrompRGB(unsigned short** rgb, int width, int height, int stride);
    void convertFrompRGB15U(unsigned short** rgb, int width, int height, int stride);
    void convertTo(unsigned char* dst, int stride) const;
    void convertToHalfpRGB(unsigned char** rgb, int stride) const;
    static void YDRDB2RGB(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B);
    void YDRDB2RGB15U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B) const;
    void YDRDB2RGB8U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B) const;
    static void PRGB2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y);
    static void PRGB15U2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y);
    static void YDRDBToQImage(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, unsigned char* dst, int width,
                              int height, int stride);
    static cv::Mat MatRoi(const cv::Mat& in, int x, int y, int w, int h, int scale, bool half, bool smooth);

    void convertTopRGB(unsigned short** rgb, int stride) const;
    void convertTopRGB15U(unsigned short** rgb, int stride) const;

    static void computeLUT();
    static void fullToEdge(const cv::Mat& full, const cv::Mat& half, cv::Mat& edge);
    static void edgeToFull(const cv::Mat& edge, const cv::Mat& half, cv::Mat& full, float strength);
    static void edgeToFull(const cv::Mat& edge, const cv::Mat& before, const cv::Mat& after, cv::Mat& full,
                           float epsilon, float strength);
    static void applyFullToEdgeLUT(const cv::Mat& in, cv::Mat& edge);
};
