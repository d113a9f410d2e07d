#include "transimage.h"

TransImage::TransImage() : number(0) {}

TransImage::TransImage(TransImage const& other) = default;

TransImage& TransImage::operator=(TransImage const& other) = default;

TransImage::~TransImage() = default;
