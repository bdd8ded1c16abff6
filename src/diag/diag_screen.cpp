// The platform sinks: GDI text on the primary display and the debugger on
// Windows, standard error elsewhere.
#include "diag/diag.h"

#include <cstdio>
#include <cstring>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

namespace tovrel {

#if defined(_WIN32)

namespace {
screen_cursor g_cursor;
} // namespace

int diag_screen_line(char *line) {
    char *end = std::strchr(line, '\n');
    if (end) *end = '\0';
    const int length = static_cast<int>(std::strlen(line));

    HDC dc = GetDC(nullptr);
    const int32_t y = g_cursor.place(GetDeviceCaps(dc, VERTRES));
    TextOutA(dc, 0, y, line, length);
    // A blue bar marks where the next line will be written.
    static const char bar[] = "                                                            "
                              "                              ";
    static_assert(sizeof(bar) - 1 == 90);
    SetBkColor(dc, RGB(0, 0, 255));
    TextOutA(dc, 0, g_cursor.y, bar, 90);
    const int result = ReleaseDC(nullptr, dc);
    if (g_cursor.bottom < g_cursor.y) g_cursor.y = 0;
    return result;
}

int diag_debugger_line(char *line) {
    OutputDebugStringA(line);
    return 1;
}

namespace {
int show_message(const char *text) { return MessageBoxA(nullptr, text, "Message", 0); }
} // namespace

int diag_draw_line(int32_t x0, int32_t y0, int32_t x1, int32_t y1, uint32_t colour) {
    HDC dc = GetDC(nullptr);
    HPEN pen = CreatePen(PS_SOLID, 1, colour);
    HGDIOBJ previous = SelectObject(dc, pen);
    MoveToEx(dc, x0, y0, nullptr);
    LineTo(dc, x1, y1);
    LineTo(dc, x1 + 1, y1); // paint the end point too
    SelectObject(dc, previous);
    DeleteObject(pen);
    return ReleaseDC(nullptr, dc);
}

#else

int diag_screen_line(char *line) {
    std::fputs(line, stderr);
    return 1;
}

int diag_debugger_line(char *line) {
    std::fputs(line, stderr);
    return 1;
}

namespace {
int show_message(const char *text) {
    std::fprintf(stderr, "Message: %s\n", text);
    return 1; // as if OK was pressed
}
} // namespace

int diag_draw_line(int32_t, int32_t, int32_t, int32_t, uint32_t) { return 0; }

#endif

// The text is at most 259 characters; longer texts are cut.
int diag_message_box(const char *format, ...) {
    char text[260];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format ? format : "", args);
    va_end(args);
    return show_message(text);
}

} // namespace tovrel
