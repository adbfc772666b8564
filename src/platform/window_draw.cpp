// PlatformWindow's drawing: a back buffer of the window's size, copied to the screen on
// flush, and the two panel fonts. Guards that nothing draws without a display, and that text
// metrics answer the same way, give or take a pixel, with or without one.
#include <X11/Xutil.h>

#include <cstdlib>
#include <string>

#include "platform/window_state.h"

namespace {

// A buffer's pixels before anything is drawn on them.
constexpr WindowColour kBlankColour = 0x000000;
// Larger images than this are refused rather than allocated.
constexpr int32_t kImageSideLimit = 16384;
bool withinReach(int32_t v) { return v >= -kWindowProtocolLimit && v <= kWindowProtocolLimit; }

// Advance widths of the panel font's printable ASCII (space to '~'), in 1/2048 em, and its
// ascent and descent: the headless estimate of the text metrics. Anything else counts as a
// digit's width.
constexpr int32_t kFontUnits = 2048;
constexpr int32_t kFontAscentUnits = 1854;
constexpr int32_t kFontDescentUnits = 434;
constexpr int32_t kFontOtherUnits = 1139;
constexpr int32_t kFontAsciiUnits[95] = {
    569,  569,  727,  1139, 1139, 1821, 1366, 391,  682,  682,  797,  1196, 569,  682,  569,  569,
    1139, 1139, 1139, 1139, 1139, 1139, 1139, 1139, 1139, 1139, 569,  569,  1196, 1196, 1196, 1139,
    2079, 1366, 1366, 1479, 1479, 1366, 1251, 1593, 1479, 569,  1024, 1366, 1139, 1706, 1479, 1593,
    1366, 1593, 1479, 1366, 1251, 1479, 1366, 1933, 1366, 1366, 1251, 569,  569,  569,  961,  1139,
    682,  1139, 1139, 1024, 1139, 1139, 569,  1139, 1139, 455,  455,  1024, 455,  1706, 1139, 1139,
    1139, 1139, 682,  1024, 569,  1139, 1024, 1479, 1024, 1024, 1024, 684,  532,  684,  1196};

int32_t pixelsOf(WindowFont font) { return font == kFontSmall ? kFontSmallPixels : kFontNormalPixels; }

// Text as valid UTF-8: a byte that does not start a well-formed sequence is taken as Latin-1,
// the way older host strings come.
std::string utf8Of(const char* text) {
  std::string out;
  if (!text) return out;
  const auto* s = reinterpret_cast<const unsigned char*>(text);
  while (*s) {
    const unsigned char lead = *s;
    size_t length = lead < 0x80 ? 1 : (lead >= 0xC2 && lead <= 0xDF) ? 2 : (lead >= 0xE0 && lead <= 0xEF) ? 3
                                     : (lead >= 0xF0 && lead <= 0xF4) ? 4 : 0;
    for (size_t i = 1; i < length; ++i)
      if ((s[i] & 0xC0) != 0x80) length = 0;
    if (length) {
      out.append(reinterpret_cast<const char*>(s), length);
      s += length;
    } else {
      windowUtf8Append(&out, lead);
      ++s;
    }
  }
  return out;
}

int32_t estimatedWidth(WindowFont font, const std::string& text) {
  int32_t width = 0;
  for (unsigned char c : text) {
    if ((c & 0xC0) == 0x80) continue;  // one code point, one advance
    const int32_t units = c >= ' ' && c <= '~' ? kFontAsciiUnits[c - ' '] : kFontOtherUnits;
    width += (units * pixelsOf(font) + kFontUnits / 2) / kFontUnits;
  }
  return width;
}

int32_t estimatedHeight(WindowFont font) {
  const int32_t px = pixelsOf(font);
  return (px * kFontAscentUnits + kFontUnits - 1) / kFontUnits + (px * kFontDescentUnits + kFontUnits - 1) / kFontUnits;
}

XftFont* fontOf(WindowConnection& c, WindowFont font) {
  const int index = font == kFontSmall ? 1 : 0;
  std::lock_guard<std::mutex> hold(windowDisplayLock());
  if (!c.fonts[index])
    c.fonts[index] = XftFontOpen(c.display, c.screen, XFT_FAMILY, XftTypeString, kFontFamily, XFT_PIXEL_SIZE,
                                 XftTypeDouble, static_cast<double>(pixelsOf(font)), XFT_WEIGHT, XftTypeInteger,
                                 FC_WEIGHT_REGULAR, nullptr);
  return c.fonts[index];
}

// A colour as a pixel of the connection's (true colour) visual.
unsigned long pixelOf(const WindowConnection& c, WindowColour colour) {
  const Visual* v = c.visual;
  unsigned long pixel = 0;
  const unsigned long masks[3] = {v->red_mask, v->green_mask, v->blue_mask};
  for (int i = 0; i < 3; ++i) {
    const unsigned long mask = masks[i];
    if (!mask) continue;
    const int shift = __builtin_ctzl(mask);
    const unsigned long top = mask >> shift;
    const unsigned long value = (colour >> (16 - 8 * i)) & 0xFF;
    pixel |= ((value * top + 127) / 255) << shift;
  }
  return pixel;
}

XRectangle xRectOf(const WindowRect& r) {
  return {static_cast<short>(r.left), static_cast<short>(r.top), static_cast<unsigned short>(r.right - r.left),
          static_cast<unsigned short>(r.bottom - r.top)};
}

WindowRect bufferRect(const PlatformWindow* window) { return {0, 0, window->bufferWidth, window->bufferHeight}; }

// Where drawing may land: the buffer, within any clip set.
WindowRect drawableArea(const PlatformWindow* window) {
  const WindowRect all = bufferRect(window);
  return window->clipped ? windowRectIntersect(all, window->clip) : all;
}

void applyClip(PlatformWindow* window) {
  Display* display = window->connection->display;
  if (window->clipped) {
    const WindowRect inside = windowRectIntersect(window->clip, bufferRect(window));
    XRectangle r = xRectOf(inside);
    XSetClipRectangles(display, window->gc, 0, 0, &r, windowRectEmpty(inside) ? 0 : 1, Unsorted);
  } else {
    XSetClipMask(display, window->gc, None);
  }
}

void markDrawn(PlatformWindow* window, const WindowRect& area) {
  const WindowRect inside = windowRectIntersect(area, drawableArea(window));
  if (windowRectEmpty(inside)) return;
  window->dirty = window->drawn ? windowRectUnion(window->dirty, inside) : inside;
  window->drawn = true;
}

// Makes the back buffer the window's size, keeping what it held; false headless.
bool ensureBuffer(PlatformWindow* window) {
  if (!windowDrawable(window)) return false;
  if (window->buffer && window->bufferWidth == window->width && window->bufferHeight == window->height) return true;
  WindowConnection& c = *window->connection;
  const Pixmap fresh = XCreatePixmap(c.display, window->xid, static_cast<unsigned>(window->width),
                                     static_cast<unsigned>(window->height), static_cast<unsigned>(c.depth));
  if (!window->gc) {
    XGCValues values{};
    values.graphics_exposures = False;
    window->gc = XCreateGC(c.display, fresh, GCGraphicsExposures, &values);
    window->copyGc = XCreateGC(c.display, fresh, GCGraphicsExposures, &values);
  }
  XSetForeground(c.display, window->copyGc, pixelOf(c, kBlankColour));
  XFillRectangle(c.display, fresh, window->copyGc, 0, 0, static_cast<unsigned>(window->width),
                 static_cast<unsigned>(window->height));
  if (window->buffer) {
    XCopyArea(c.display, window->buffer, fresh, window->copyGc, 0, 0, static_cast<unsigned>(window->bufferWidth),
              static_cast<unsigned>(window->bufferHeight), 0, 0);
    XFreePixmap(c.display, window->buffer);
  }
  window->buffer = fresh;
  window->bufferWidth = window->width;
  window->bufferHeight = window->height;
  {
    std::lock_guard<std::mutex> hold(windowDisplayLock());
    if (window->draw)
      XftDrawChange(window->draw, fresh);
    else
      window->draw = XftDrawCreate(c.display, fresh, c.visual, c.colormap);
  }
  applyClip(window);
  if (window->drawn) window->dirty = windowRectIntersect(window->dirty, bufferRect(window));
  return true;
}

}  // namespace

std::mutex& windowDisplayLock() {
  static std::mutex xft;
  return xft;
}

void windowUtf8Append(std::string* text, uint32_t code) {
  if (code < 0x80) {
    text->push_back(static_cast<char>(code));
  } else if (code < 0x800) {
    text->push_back(static_cast<char>(0xC0 | (code >> 6)));
    text->push_back(static_cast<char>(0x80 | (code & 0x3F)));
  } else if (code < 0x10000) {
    text->push_back(static_cast<char>(0xE0 | (code >> 12)));
    text->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    text->push_back(static_cast<char>(0x80 | (code & 0x3F)));
  } else if (code < 0x110000) {
    text->push_back(static_cast<char>(0xF0 | (code >> 18)));
    text->push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
    text->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    text->push_back(static_cast<char>(0x80 | (code & 0x3F)));
  }
}

void windowDrawRelease(PlatformWindow* window) {
  WindowConnection* c = window->connection.get();
  if (!c || c->broken) return;
  if (window->draw) {
    std::lock_guard<std::mutex> hold(windowDisplayLock());
    XftDrawDestroy(window->draw);
  }
  if (window->buffer) XFreePixmap(c->display, window->buffer);
  if (window->gc) XFreeGC(c->display, window->gc);
  if (window->copyGc) XFreeGC(c->display, window->copyGc);
  window->draw = nullptr;
  window->buffer = 0;
  window->gc = window->copyGc = nullptr;
}

void windowFontsRelease(WindowConnection* connection) {
  std::lock_guard<std::mutex> hold(windowDisplayLock());
  for (XftFont*& font : connection->fonts) {
    if (font && !connection->broken) XftFontClose(connection->display, font);
    font = nullptr;
  }
}

void windowSetClip(PlatformWindow* window, const WindowRect& area) {
  if (!window) return;
  window->clipped = true;
  window->clip = area;
  if (window->gc && windowDrawable(window)) applyClip(window);
}

void windowClearClip(PlatformWindow* window) {
  if (!window) return;
  window->clipped = false;
  if (window->gc && windowDrawable(window)) applyClip(window);
}

void windowFillRect(PlatformWindow* window, const WindowRect& area, WindowColour colour) {
  if (!ensureBuffer(window)) return;
  const WindowRect r = windowRectIntersect(area, drawableArea(window));
  if (windowRectEmpty(r)) return;
  Display* display = window->connection->display;
  XSetForeground(display, window->gc, pixelOf(*window->connection, colour));
  XFillRectangle(display, window->buffer, window->gc, r.left, r.top, static_cast<unsigned>(r.right - r.left),
                 static_cast<unsigned>(r.bottom - r.top));
  markDrawn(window, r);
}

void windowLine(PlatformWindow* window, int32_t x0, int32_t y0, int32_t x1, int32_t y1, WindowColour colour) {
  if (!withinReach(x0) || !withinReach(y0) || !withinReach(x1) || !withinReach(y1) || !ensureBuffer(window)) return;
  Display* display = window->connection->display;
  XSetForeground(display, window->gc, pixelOf(*window->connection, colour));
  XDrawLine(display, window->buffer, window->gc, x0, y0, x1, y1);
  // A thin line may leave out its last point; both ends are the callers' to count on.
  XDrawPoint(display, window->buffer, window->gc, x1, y1);
  markDrawn(window, {std::min(x0, x1), std::min(y0, y1), std::max(x0, x1) + 1, std::max(y0, y1) + 1});
}

void windowText(PlatformWindow* window, WindowFont font, int32_t x, int32_t y, const char* text, WindowColour colour,
                const WindowRect& clip) {
  if (!text || !*text || !withinReach(x) || !withinReach(y) || !ensureBuffer(window)) return;
  WindowConnection& c = *window->connection;
  XftFont* face = fontOf(c, font);
  if (!face) return;
  const WindowRect area = windowRectIntersect(clip, drawableArea(window));
  if (windowRectEmpty(area)) return;
  const std::string utf8 = utf8Of(text);
  XRectangle r = xRectOf(area);
  std::unique_lock<std::mutex> hold(windowDisplayLock());
  XftDrawSetClipRectangles(window->draw, 0, 0, &r, 1);
  XftColor xftColour{};
  xftColour.pixel = pixelOf(c, colour);
  xftColour.color.red = static_cast<unsigned short>(((colour >> 16) & 0xFF) * 0x101);
  xftColour.color.green = static_cast<unsigned short>(((colour >> 8) & 0xFF) * 0x101);
  xftColour.color.blue = static_cast<unsigned short>((colour & 0xFF) * 0x101);
  xftColour.color.alpha = 0xFFFF;
  XftDrawStringUtf8(window->draw, &xftColour, face, x, y + face->ascent,
                    reinterpret_cast<const FcChar8*>(utf8.data()), static_cast<int>(utf8.size()));
  XftDrawSetClip(window->draw, nullptr);
  XGlyphInfo extents{};
  XftTextExtentsUtf8(c.display, face, reinterpret_cast<const FcChar8*>(utf8.data()), static_cast<int>(utf8.size()),
                     &extents);
  hold.unlock();
  const int32_t right = x + std::max<int32_t>(extents.xOff, extents.width - extents.x);
  markDrawn(window, windowRectIntersect(area, {x, y, right, y + face->ascent + face->descent}));
}

void windowImage(PlatformWindow* window, int32_t x, int32_t y, int32_t width, int32_t height, const uint8_t* rgb) {
  if (!rgb || width <= 0 || height <= 0 || width > kImageSideLimit || height > kImageSideLimit) return;
  if (!withinReach(x) || !withinReach(y)) return;
  if (!ensureBuffer(window)) return;
  if (windowRectEmpty(windowRectIntersect({x, y, x + width, y + height}, bufferRect(window)))) return;
  WindowConnection& c = *window->connection;
  // XDestroyImage frees the pixels with free().
  char* pixels = static_cast<char*>(malloc(static_cast<size_t>(width) * static_cast<size_t>(height) * 4));
  if (!pixels) return;
  XImage* image = XCreateImage(c.display, c.visual, static_cast<unsigned>(c.depth), ZPixmap, 0, pixels,
                               static_cast<unsigned>(width), static_cast<unsigned>(height), 32, 0);
  if (!image) {
    free(pixels);
    return;
  }
  const uint8_t* p = rgb;
  for (int32_t row = 0; row < height; ++row)
    for (int32_t column = 0; column < width; ++column, p += 3)
      XPutPixel(image, column, row, pixelOf(c, (WindowColour{p[0]} << 16) | (WindowColour{p[1]} << 8) | p[2]));
  XPutImage(c.display, window->buffer, window->gc, image, 0, 0, x, y, static_cast<unsigned>(width),
            static_cast<unsigned>(height));
  XDestroyImage(image);
  markDrawn(window, {x, y, x + width, y + height});
}

void windowFlush(PlatformWindow* window) {
  if (!windowDrawable(window)) return;
  Display* display = window->connection->display;
  if (window->drawn && window->buffer) {
    const WindowRect& d = window->dirty;
    XCopyArea(display, window->buffer, window->xid, window->copyGc, d.left, d.top,
              static_cast<unsigned>(d.right - d.left), static_cast<unsigned>(d.bottom - d.top), d.left, d.top);
  }
  window->drawn = false;
  XFlush(display);
}

int32_t windowTextWidth(PlatformWindow* window, WindowFont font, const char* text) {
  const std::string utf8 = utf8Of(text);
  if (utf8.empty()) return 0;
  XftFont* face = windowDrawable(window) ? fontOf(*window->connection, font) : nullptr;
  if (!face) return estimatedWidth(font, utf8);
  XGlyphInfo extents{};
  std::lock_guard<std::mutex> hold(windowDisplayLock());
  XftTextExtentsUtf8(window->connection->display, face, reinterpret_cast<const FcChar8*>(utf8.data()),
                     static_cast<int>(utf8.size()), &extents);
  return extents.xOff;
}

int32_t windowFontHeight(PlatformWindow* window, WindowFont font) {
  XftFont* face = windowDrawable(window) ? fontOf(*window->connection, font) : nullptr;
  return face ? face->ascent + face->descent : estimatedHeight(font);
}
