#pragma once
// PelProgressWnd: a flat progress bar, a dark track with a light filled part
// growing from the left.

#include <lumi/gdi.h>
#include <lumi/window.h>

class PelProgressWnd : public WndBase {
public:
    PelProgressWnd();
    ~PelProgressWnd() override;

    int create(WndBase* parent, const Rect& rect, unsigned int style);

    // Accepted only when 0 <= min <= max; otherwise ignored (-1).
    int setRange(int min, int max);
    int getRange(int& min, int& max) const;
    // The filled part shows only once it is wider than step pixels. Accepted
    // only above 2; otherwise ignored (-1).
    int setStep(int step);
    int getStep() const { return m_step; }
    // Stored as given, also outside the range: a position outside the
    // range shows the empty track.
    int setPos(int pos);
    int getPos() const { return m_pos; }

    // Pictures for the bar and the step; -1 for null. With own the window
    // deletes the picture when it is replaced or the window goes. Both are
    // kept, but no picture is painted: while both are set the bar draws
    // nothing over its background.
    int setBarBmp(Bitmap* bmp, bool own);
    int setStepBmp(Bitmap* bmp, bool own);
    Bitmap* barBmp() const { return m_barBmp; }
    Bitmap* stepBmp() const { return m_stepBmp; }

    static constexpr unsigned short kTrackColor = 0x5AEB;
    static constexpr unsigned short kFillColor = 0x87FF;

protected:
    int onPaint() override;

private:
    // What the bar's picture shows: it is drawn again only when one of these
    // changes, and a paint copies it.
    struct PictureKey {
        int width { 0 };
        int height { 0 };
        bool track { false }; // the track is drawn (not both pictures set)
        int filled { 0 }; // width of the filled part, 0 when none shows
        bool operator==(const PictureKey& o) const
        {
            return width == o.width && height == o.height && track == o.track && filled == o.filled;
        }
    };

    PictureKey pictureKey(const Rect& client) const;
    // Draws the track and its filled part for key into dc, whose client
    // rectangle is client.
    void drawBar(DC& dc, const Rect& client, const PictureKey& key) const;

    Bitmap* m_barBmp { nullptr };
    Bitmap* m_stepBmp { nullptr };
    int m_step { 6 };
    int m_min { 0 };
    int m_max { 100 };
    int m_pos { 0 };
    bool m_ownBarBmp { false };
    bool m_ownStepBmp { false };

    MemDC m_picture; // the client area as the bar draws it, kept between paints
    PictureKey m_pictured; // what m_picture shows (width 0: nothing yet)
};
