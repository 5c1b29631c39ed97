"""What each reader must say about the movie of each request, written out from the request's
settings so that a wrong header fails. Values are the readers' own spellings (ffprobe 5.1,
MediaInfo 23.04, mp4box.js 2.4.1).

Per request:
  request            the request file, from the repository root
  tracks             premoov's track names in the header's track order
  audioBytesPerFrame bytes of one PCM frame, per audio track
  packetWindow       when set, ffprobe reads packets from a copy of the header cut at this many
                     bytes instead of the whole movie (an hour of media is 117 GB to read)
  mp4box             per track: handler, sample entry, media time scale
  ffprobe            per stream: fields of `ffprobe -show_streams`; "tags.x" is a tag
  ffprobeMediaDecides fields the zeroed media decides in the extended movie (the decoder reads
                     its frame header), checked on the header alone only
  mediainfo          per track of `mediainfo --Full --Output=JSON`: fields; None means absent
"""

# Audio channel layout tags (CoreAudio): mono 0x640001, stereo 0x650002, 5.1 'MPEG_5_1_A' 0x790006.


def ff_pcm(codec_name, channels, layout, bits, frames):
    return {
        "codec_type": "audio",
        "codec_name": codec_name,
        "codec_tag_string": "lpcm",
        "sample_rate": "48000",
        "channels": channels,
        "channel_layout": layout,
        "bits_per_sample": bits,
        "time_base": "1/48000",
        "nb_frames": frames,
    }


def mi_pcm(channels, positions, layout, bits, endianness):
    return {
        "@type": "Audio",
        "Format": "PCM",
        "CodecID": "lpcm",
        "Channels": channels,
        "ChannelPositions": positions,
        "ChannelLayout": layout,
        "BitDepth": bits,
        "SamplingRate": "48000",
        "Format_Settings_Endianness": endianness,
        "Format_Settings_Sign": "Signed",
    }


def ff_captions(frames, duration_ts):
    return {
        "codec_type": "subtitle",
        "codec_tag_string": "c708",
        "time_base": "1/30000",
        "nb_frames": frames,
        "duration_ts": duration_ts,
    }


def mi_captions(frames):
    return {"@type": "Text", "Format": "EIA-708", "CodecID": "c708", "FrameCount": frames}


def ff_timecode(reel, timecode, frames, time_base, duration_ts):
    return {
        "codec_type": "data",
        "codec_tag_string": "tmcd",
        "time_base": time_base,
        "nb_frames": frames,
        "duration_ts": duration_ts,
        "tags.reel_name": reel,
        "tags.timecode": timecode,
    }


def mi_timecode(reel, drop, first, frame_rate):
    return {
        "@type": "Other",
        "Type": "Time code",
        "Format": "QuickTime TC",
        "Title": reel,
        "TimeCode_DropFrame": drop,
        "TimeCode_FirstFrame": first,
        "FrameRate": frame_rate,
    }


MONO_24_BE = ff_pcm("pcm_s24be", 1, "mono", 24, None)

MOVIES = {
    # 1 hour of ProRes 422 HQ 1080i29.97, top field first, BT.709, 8 mono 24-bit tracks.
    "prores_hq_1080i2997_8ch_1h": {
        "request": "examples/prores_hq_1080i2997_8ch_1h.json",
        "tracks": ["video"] + [f"audio{i}" for i in range(1, 9)] + ["captions", "timecode"],
        "audioBytesPerFrame": [3] * 8,
        "packetWindow": 200_000_000,
        "mp4box": [("vide", "apch", 30000)] + [("soun", "lpcm", 48000)] * 8
        + [("clcp", "c708", 30000), ("tmcd", "tmcd", 30000)],
        "ffprobe": [{
            "codec_type": "video",
            "codec_name": "prores",
            "codec_tag_string": "apch",
            "width": 1920,
            "height": 1080,
            "field_order": "tb",
            "sample_aspect_ratio": "1:1",
            "color_primaries": "bt709",
            "color_transfer": "bt709",
            "color_space": "bt709",
            "time_base": "1/30000",
            "avg_frame_rate": "30000/1001",
            "nb_frames": "107892",
            "duration_ts": 107999892,
            "tags.encoder": "Apple ProRes 422 HQ",
            "tags.timecode": "00:00:00;00",
        }] + [dict(MONO_24_BE, nb_frames="172799827")] * 8 + [
            ff_captions("107892", 107999892),
            ff_timecode("A001", "00:00:00;00", "107892", "1/30000", 107999892),
        ],
        "mediainfo": [{
            "@type": "General",
            "Format": "QuickTime",
            "VideoCount": "1",
            "AudioCount": "8",
            "TextCount": "1",
            "OtherCount": "1",
            "FrameCount": "107892",
        }, {
            "@type": "Video",
            "Format": "ProRes",
            "Format_Profile": "422 HQ",
            "CodecID": "apch",
            "Width": "1920",
            "Height": "1080",
            "PixelAspectRatio": "1.000",
            "DisplayAspectRatio": "1.778",
            "ScanType": "Interlaced",
            "ScanOrder": "TFF",
            "colour_primaries": "BT.709",
            "transfer_characteristics": "BT.709",
            "matrix_coefficients": "BT.709",
            "colour_primaries_Source": "Container",
            "FrameRate": "29.970",
            "FrameCount": "107892",
        }] + [mi_pcm("1", "Front: C", "C", "24", "Big")] * 8 + [
            mi_captions("107892"),
            mi_timecode("A001", "Yes", "00:00:00;00", "29.970"),
        ],
    },
    # 1 second of v210 1080i29.97, two mono 16-bit little-endian tracks (flags 12: no big-endian
    # bit), drop-frame timecode, captions.
    "v210_2997i_2ch_tc_cc": {
        "request": "examples/v210_2997i_2ch_tc_cc.json",
        "tracks": ["video", "audio1", "audio2", "captions", "timecode"],
        "audioBytesPerFrame": [2, 2],
        "mp4box": [("vide", "v210", 30000), ("soun", "lpcm", 48000), ("soun", "lpcm", 48000),
                   ("clcp", "c708", 30000), ("tmcd", "tmcd", 30000)],
        "ffprobe": [{
            "codec_type": "video",
            "codec_name": "v210",
            "codec_tag_string": "v210",
            "width": 1920,
            "height": 1080,
            "field_order": "tb",
            "sample_aspect_ratio": "1:1",
            "color_primaries": "bt709",
            "color_transfer": "bt709",
            "color_space": "bt709",
            "time_base": "1/30000",
            "avg_frame_rate": "30000/1001",
            "nb_frames": "30",
            "duration_ts": 30030,
            "tags.encoder": "10-bit 4:2:2",
            "tags.timecode": "00:00:00;00",
        },
            ff_pcm("pcm_s16le", 1, "mono", 16, "48048"),
            ff_pcm("pcm_s16le", 1, "mono", 16, "48048"),
            ff_captions("30", 30030),
            ff_timecode("V210", "00:00:00;00", "30", "1/30000", 30030)],
        "mediainfo": [{
            "@type": "General",
            "Format": "QuickTime",
            "VideoCount": "1",
            "AudioCount": "2",
            "TextCount": "1",
            "OtherCount": "1",
            "FrameCount": "30",
        }, {
            "@type": "Video",
            "Format": "YUV",
            "CodecID": "v210",
            "Width": "1920",
            "Height": "1080",
            "BitDepth": "10",
            "PixelAspectRatio": "1.000",
            "DisplayAspectRatio": "1.778",
            "ScanType": "Interlaced",
            "ScanOrder": "TFF",
            "colour_primaries": "BT.709",
            "transfer_characteristics": "BT.709",
            "matrix_coefficients": "BT.709",
            "colour_primaries_Source": "Container",
            "FrameRate": "29.970",
            "FrameCount": "30",
        },
            mi_pcm("1", "Front: C", "C", "16", "Little"),
            mi_pcm("1", "Front: C", "C", "16", "Little"),
            mi_captions("30"),
            mi_timecode("V210", "Yes", "00:00:00;00", "29.970")],
    },
    # 3 seconds of 2vuy 576p25, pixel aspect 59:54, EBU primaries (5), BT.709 transfer (1),
    # BT.601 matrix (6), one stereo 16-bit big-endian track, one timecode sample for the whole
    # movie, no captions.
    "2vuy_25p_global_tc": {
        "request": "examples/2vuy_25p_global_tc.json",
        "tracks": ["video", "audio1", "timecode"],
        "audioBytesPerFrame": [4],
        "mp4box": [("vide", "2vuy", 25000), ("soun", "lpcm", 48000), ("tmcd", "tmcd", 25000)],
        "ffprobe": [{
            "codec_type": "video",
            "codec_name": "rawvideo",
            "codec_tag_string": "2vuy",
            "width": 720,
            "height": 576,
            "field_order": "progressive",
            "sample_aspect_ratio": "59:54",
            "color_primaries": "bt470bg",
            "color_transfer": "bt709",
            "color_space": "smpte170m",
            "time_base": "1/25000",
            "avg_frame_rate": "25/1",
            "nb_frames": "75",
            "duration_ts": 75000,
            "tags.encoder": "Component Y'CbCr 8-bit 4:2:2",
            "tags.timecode": "00:00:00:00",
        },
            ff_pcm("pcm_s16be", 2, "stereo", 16, "144000"),
            ff_timecode("B002", "00:00:00:00", "1", "1/25000", 75000)],
        "mediainfo": [{
            "@type": "General",
            "Format": "QuickTime",
            "VideoCount": "1",
            "AudioCount": "1",
            "TextCount": None,
            "OtherCount": "1",
            "FrameCount": "75",
        }, {
            "@type": "Video",
            "Format": "YUV",
            "CodecID": "2vuy",
            "Width": "720",
            "Height": "576",
            "PixelAspectRatio": "1.093",
            "ScanType": "Progressive",
            "ScanOrder": None,
            "colour_primaries": "BT.601 PAL",
            "transfer_characteristics": "BT.709",
            "matrix_coefficients": "BT.601",
            "colour_primaries_Source": "Container",
            "FrameRate": "25.000",
            "FrameCount": "75",
        },
            mi_pcm("2", "Front: L R", "L R", "16", "Big"),
            mi_timecode("B002", "No", "00:00:00:00", "25.000")],
    },
    # 50 frames of 2vuy 720p29.97 (a movie that ends inside an interleave group), two mono 24-bit
    # big-endian tracks, drop-frame timecode, captions.
    "2vuy_2997_mid_group": {
        "request": "examples/2vuy_2997_mid_group.json",
        "tracks": ["video", "audio1", "audio2", "captions", "timecode"],
        "audioBytesPerFrame": [3, 3],
        "mp4box": [("vide", "2vuy", 30000), ("soun", "lpcm", 48000), ("soun", "lpcm", 48000),
                   ("clcp", "c708", 30000), ("tmcd", "tmcd", 30000)],
        "ffprobe": [{
            "codec_type": "video",
            "codec_name": "rawvideo",
            "codec_tag_string": "2vuy",
            "width": 1280,
            "height": 720,
            "field_order": "progressive",
            "sample_aspect_ratio": "1:1",
            "color_primaries": "bt709",
            "color_transfer": "bt709",
            "color_space": "bt709",
            "time_base": "1/30000",
            "avg_frame_rate": "30000/1001",
            "nb_frames": "50",
            "duration_ts": 50050,
            "tags.encoder": "Component Y'CbCr 8-bit 4:2:2",
            "tags.timecode": "00:00:00;00",
        },
            dict(MONO_24_BE, nb_frames="80080"),
            dict(MONO_24_BE, nb_frames="80080"),
            ff_captions("50", 50050),
            ff_timecode("C003", "00:00:00;00", "50", "1/30000", 50050)],
        "mediainfo": [{
            "@type": "General",
            "Format": "QuickTime",
            "VideoCount": "1",
            "AudioCount": "2",
            "TextCount": "1",
            "OtherCount": "1",
            "FrameCount": "50",
        }, {
            "@type": "Video",
            "Format": "YUV",
            "CodecID": "2vuy",
            "Width": "1280",
            "Height": "720",
            "PixelAspectRatio": "1.000",
            "ScanType": "Progressive",
            "ScanOrder": None,
            "colour_primaries": "BT.709",
            "transfer_characteristics": "BT.709",
            "matrix_coefficients": "BT.709",
            "colour_primaries_Source": "Container",
            "FrameRate": "29.970",
            "FrameCount": "50",
        },
            mi_pcm("1", "Front: C", "C", "24", "Big"),
            mi_pcm("1", "Front: C", "C", "24", "Big"),
            mi_captions("50"),
            mi_timecode("C003", "Yes", "00:00:00;00", "29.970")],
    },
    # 70 frames of long-GOP MPEG-2 ('xd5c') 1080i29.97 with a given frame size: 15-frame GOPs of
    # I, P and B frames with display offsets, four mono 24-bit tracks, drop-frame timecode and
    # captions.
    "longgop_xd5c_1080i2997": {
        "request": "tests/readers/requests/longgop_xd5c_1080i2997.json",
        "tracks": ["video", "audio1", "audio2", "audio3", "audio4", "captions", "timecode"],
        "audioBytesPerFrame": [3, 3, 3, 3],
        "mp4box": [("vide", "xd5c", 30000)] + [("soun", "lpcm", 48000)] * 4
        + [("clcp", "c708", 30000), ("tmcd", "tmcd", 30000)],
        "ffprobe": [{
            "codec_type": "video",
            "codec_name": "mpeg2video",
            "codec_tag_string": "xd5c",
            "width": 1920,
            "height": 1080,
            "field_order": "tb",
            "sample_aspect_ratio": "1:1",
            "color_primaries": "bt709",
            "color_transfer": "bt709",
            "color_space": "bt709",
            "time_base": "1/30000",
            "avg_frame_rate": "30000/1001",
            "nb_frames": "70",
            "duration_ts": 70070,
            "tags.encoder": "XDCAM HD422 1080i60 (50 Mb/s)",
            "tags.timecode": "00:00:00;00",
        }] + [dict(MONO_24_BE, nb_frames="112112")] * 4 + [
            ff_captions("70", 70070),
            ff_timecode("XD01", "00:00:00;00", "70", "1/30000", 70070),
        ],
        "mediainfo": [{
            "@type": "General",
            "Format": "QuickTime",
            "VideoCount": "1",
            "AudioCount": "4",
            "TextCount": "1",
            "OtherCount": "1",
            "FrameCount": "70",
        }, {
            "@type": "Video",
            "Format": "MPEG Video",
            "CodecID": "xd5c",
            "Width": "1920",
            "Height": "1080",
            "PixelAspectRatio": "1.000",
            "ScanType": "Interlaced",
            "ScanOrder": "TFF",
            "colour_primaries": "BT.709",
            "transfer_characteristics": "BT.709",
            "matrix_coefficients": "BT.709",
            "colour_primaries_Source": "Container",
            "FrameRate": "29.970",
            "FrameCount": "70",
        }] + [mi_pcm("1", "Front: C", "C", "24", "Big")] * 4 + [
            mi_captions("70"),
            mi_timecode("XD01", "Yes", "00:00:00;00", "29.970"),
        ],
    },
    # 45 frames of DVCPRO HD 1080i60 ('dvh6'): 1280x1080 stored, pixel aspect 3:2, clean aperture,
    # four mono 16-bit big-endian tracks, non-drop timecode, no captions.
    "dvcprohd_1080i2997": {
        "request": "tests/readers/requests/dvcprohd_1080i2997.json",
        "tracks": ["video", "audio1", "audio2", "audio3", "audio4", "timecode"],
        "audioBytesPerFrame": [2, 2, 2, 2],
        "mp4box": [("vide", "dvh6", 30000)] + [("soun", "lpcm", 48000)] * 4
        + [("tmcd", "tmcd", 30000)],
        "ffprobe": [{
            "codec_type": "video",
            "codec_name": "dvvideo",
            "codec_tag_string": "dvh6",
            "width": 1280,
            "height": 1080,
            "field_order": "tb",
            "sample_aspect_ratio": "3:2",
            "display_aspect_ratio": "16:9",
            "color_primaries": "bt709",
            "color_transfer": "bt709",
            "color_space": "bt709",
            "time_base": "1/30000",
            "avg_frame_rate": "30000/1001",
            "nb_frames": "45",
            "duration_ts": 45045,
            "tags.encoder": "DVCPRO HD 1080i60",
            "tags.timecode": "00:00:00:00",
        }] + [ff_pcm("pcm_s16be", 1, "mono", 16, "72072")] * 4 + [
            ff_timecode("DVHD", "00:00:00:00", "45", "1/30000", 45045),
        ],
        # The DV decoder takes the raster from the frame header: zeroed frames read as 720x480.
        "ffprobeMediaDecides": {"video": ["width", "height", "display_aspect_ratio"]},
        "mediainfo": [{
            "@type": "General",
            "Format": "QuickTime",
            "VideoCount": "1",
            "AudioCount": "4",
            "TextCount": None,
            "OtherCount": "1",
            "FrameCount": "45",
        }, {
            "@type": "Video",
            "Format": "DV",
            "CodecID": "dvh6",
            "Width": "1280",
            "Height": "1080",
            "Width_CleanAperture": "1280",
            "PixelAspectRatio": "1.500",
            "DisplayAspectRatio": "1.778",
            "ScanType": "Interlaced",
            "ScanOrder": "TFF",
            "colour_primaries": "BT.709",
            "transfer_characteristics": "BT.709",
            "matrix_coefficients": "BT.709",
            "colour_primaries_Source": "Container",
            "FrameRate": "29.970",
            "FrameCount": "45",
        }] + [mi_pcm("1", "Front: C", "C", "16", "Big")] * 4 + [
            mi_timecode("DVHD", "No", "00:00:00:00", "29.970"),
        ],
    },
    # 30 frames of 2vuy 486i29.97 bottom field first (14), pixel aspect 10:11, SMPTE 170M
    # primaries (6) and matrix (6), one 6-channel 24-bit 5.1 track, drop-frame timecode, captions.
    "2vuy_486i_bff_51": {
        "request": "tests/readers/requests/2vuy_486i_bff_51.json",
        "tracks": ["video", "audio1", "captions", "timecode"],
        "audioBytesPerFrame": [18],
        "mp4box": [("vide", "2vuy", 30000), ("soun", "lpcm", 48000), ("clcp", "c708", 30000),
                   ("tmcd", "tmcd", 30000)],
        "ffprobe": [{
            "codec_type": "video",
            "codec_name": "rawvideo",
            "codec_tag_string": "2vuy",
            "width": 720,
            "height": 486,
            "field_order": "bt",
            "sample_aspect_ratio": "10:11",
            "color_primaries": "smpte170m",
            "color_transfer": "bt709",
            "color_space": "smpte170m",
            "time_base": "1/30000",
            "avg_frame_rate": "30000/1001",
            "nb_frames": "30",
            "duration_ts": 30030,
            "tags.encoder": "Component Y'CbCr 8-bit 4:2:2",
            "tags.timecode": "00:00:00;00",
        },
            ff_pcm("pcm_s24be", 6, "5.1(side)", 24, "48048"),
            ff_captions("30", 30030),
            ff_timecode("SD486", "00:00:00;00", "30", "1/30000", 30030)],
        "mediainfo": [{
            "@type": "General",
            "Format": "QuickTime",
            "VideoCount": "1",
            "AudioCount": "1",
            "TextCount": "1",
            "OtherCount": "1",
            "FrameCount": "30",
        }, {
            "@type": "Video",
            "Format": "YUV",
            "CodecID": "2vuy",
            "Width": "720",
            "Height": "486",
            "PixelAspectRatio": "0.909",
            "ScanType": "Interlaced",
            "ScanOrder": "BFF",
            "colour_primaries": "BT.601 NTSC",
            "transfer_characteristics": "BT.709",
            "matrix_coefficients": "BT.601",
            "colour_primaries_Source": "Container",
            "FrameRate": "29.970",
            "FrameCount": "30",
        },
            mi_pcm("6", "Front: L C R, Side: L R, LFE", "L R C LFE Ls Rs", "24", "Big"),
            mi_captions("30"),
            mi_timecode("SD486", "Yes", "00:00:00;00", "29.970")],
    },
    # 1 second of 2vuy 720p29.97 with the movie's metadata: software name, a title, a date, a
    # token list with its text, an int32 and a double number item. Only the packet and mp4box.js
    # checks use this entry; check_metadata.py checks the metadata itself.
    "metadata_items": {
        "request": "examples/metadata_items.json",
        "tracks": ["video", "audio1", "captions", "timecode"],
        "audioBytesPerFrame": [6],
        "mp4box": [("vide", "2vuy", 30000), ("soun", "lpcm", 48000), ("clcp", "c708", 30000),
                   ("tmcd", "tmcd", 30000)],
    },
    # 100 frames of 2vuy at 47.952 (1001/48000): no chunk table knows that rate, so no video
    # sample is laid out, yet the video track keeps its sample description and every reader
    # opens the file. One mono 24-bit track, captions, timecode.
    "2vuy_47952_no_video": {
        "request": "tests/readers/requests/2vuy_47952_no_video.json",
        "tracks": ["video", "audio1", "captions", "timecode"],
        "tracksWithoutSamples": ["video"],
        "audioBytesPerFrame": [3],
        "mp4box": [("vide", "2vuy", 48000), ("soun", "lpcm", 48000), ("clcp", "c708", 48000),
                   ("tmcd", "tmcd", 48000)],
    },
}
