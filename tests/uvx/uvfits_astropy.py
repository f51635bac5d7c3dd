#!/usr/bin/env python3
"""Independent UVFITS reader and writer for the test suite (astropy.io.fits, numpy).

  uvfits_astropy.py read FILE [MAX_DATA_GROUPS]
      Prints as JSON what astropy reads from a random-groups file: the primary keywords, the
      group parameters of every group (astropy's own sum of the DATE parameters, and the sum of
      the raw DATE words times PSCAL read with numpy from the file's bytes), the visibilities of
      up to MAX_DATA_GROUPS groups spread over the file, put in (IF, channel, Stokes) order by
      their CTYPEs, and the rows and keywords of every binary table.

  uvfits_astropy.py aips FILE
      Writes a UVFITS file laid out as AIPS writes one (BASELINE first, UU---SIN/VV---SIN/WW---SIN
      stored in nanoseconds through PSCAL, a single DATE parameter, FREQ reference pixel 3, an AN
      table with an array centre), and prints as JSON the values a reader must find in it.
"""
import json
import sys

import numpy as np
from astropy.io import fits

C_ORDER = ["IF", "FREQ", "STOKES", "COMPLEX"]


def clean(value):
    if isinstance(value, (np.floating, float)):
        return float(value)
    if isinstance(value, (np.integer, int)):
        return int(value)
    if isinstance(value, (bytes, np.bytes_)):
        return value.decode().rstrip()
    if isinstance(value, str):
        return value.rstrip()
    if isinstance(value, np.ndarray):
        return [clean(v) for v in value.tolist()] if value.ndim else clean(value.item())
    if isinstance(value, (list, tuple)):
        return [clean(v) for v in value]
    if isinstance(value, bool):
        return value
    return value


def read(path, max_data_groups):
    out = {}
    with fits.open(path) as hdus:
        prim = hdus[0]
        h = prim.header
        out["primary"] = {k: clean(h[k]) for k in h if k and k not in ("COMMENT", "HISTORY")}
        data = prim.data
        names = [n.upper() for n in data.parnames]
        out["parnames"] = list(data.parnames)
        gcount = len(data)
        groups = {"DATE": clean(np.asarray(data.par("DATE"), dtype=np.float64))}
        for name in set(names):
            if name != "DATE":
                groups[name] = clean(np.asarray(data.par(name), dtype=np.float64))
        # The raw DATE words straight from the bytes: big-endian float32 after the header.
        pcount, width = h["PCOUNT"], 1
        for a in range(2, h["NAXIS"] + 1):
            width *= h["NAXIS%d" % a]
        raw = np.fromfile(path, dtype=">f4", count=gcount * (pcount + width),
                          offset=len(h.tostring())).reshape(gcount, pcount + width)
        days = np.zeros(gcount)
        for i, n in enumerate(names):
            if n == "DATE":
                days += raw[:, i].astype(np.float64) * h.get("PSCAL%d" % (i + 1), 1.0)
        groups["DATE_DAYS_FROM_PZERO"] = clean(days)
        out["groups"] = groups
        # Visibilities: axes found by CTYPE, reordered to IF, FREQ, STOKES, COMPLEX.
        ctypes = [h["CTYPE%d" % a].strip().split("-")[0] for a in range(2, h["NAXIS"] + 1)]
        step = max(1, (gcount + max_data_groups - 1) // max_data_groups) if max_data_groups else gcount + 1
        picked = list(range(0, gcount, step))
        vis = []
        for g in picked:
            arr = np.asarray(data.data[g])  # numpy order: last FITS axis first
            fits_axes = list(reversed(ctypes))
            for extra in [c for c in fits_axes if c not in C_ORDER]:
                arr = arr.take(0, axis=fits_axes.index(extra))
                fits_axes.remove(extra)
            if "IF" not in fits_axes:
                arr = arr[np.newaxis]
                fits_axes.insert(0, "IF")
            arr = np.transpose(arr, [fits_axes.index(c) for c in C_ORDER])
            vis.append([float(v) for v in arr.reshape(-1)])
        out["data_groups"] = picked
        out["data"] = vis
        tables = {}
        for hdu in hdus[1:]:
            if not isinstance(hdu, fits.BinTableHDU):
                continue
            cols = {}
            for col in hdu.columns:
                if col.format.repeat == 0:
                    cols[col.name] = None
                    continue
                cols[col.name] = clean(np.asarray(hdu.data[col.name]))
            keys = {k: clean(hdu.header[k]) for k in hdu.header
                    if k and not k.startswith(("TTYPE", "TFORM", "TUNIT", "NAXIS"))}
            tables[hdu.name] = {"rows": len(hdu.data), "columns": cols, "keywords": keys}
        out["tables"] = tables
    json.dump(out, sys.stdout)


def aips(path):
    jd0 = 2459999.5  # 2023-02-24 0h UTC
    n_if, n_chan, n_stokes = 2, 4, 2
    ref_freq, ch_width, crpix = 8.4e9, 2.0e6, 3.0
    if_freq = [0.0, 16.0e6]
    stations = [2, 5, 7]
    centre = [-1601185.4, -5041977.5, 3554875.9]
    offsets = {2: [10.0, -20.0, 30.0], 5: [1000.25, 500.5, -250.75], 7: [-3000.0, 2000.0, 1500.0]}
    names = {2: "VLA_N2", 5: "VLA_E5", 7: "VLA_W7"}
    pairs = [(2, 5), (2, 7), (5, 7)]
    times_s = [43200.0, 43230.0, 43260.0, 43290.0]
    rows = [(a, b, t) for t in times_s for (a, b) in pairs]
    n = len(rows)
    u_ns = np.array([1000.0 * (i + 1) + 0.125 for i in range(n)], dtype=np.float32)
    v_ns = np.array([-700.0 * (i + 1) - 0.5 for i in range(n)], dtype=np.float32)
    w_ns = np.array([33.0 * (i + 1) for i in range(n)], dtype=np.float32)
    baseline = np.array([256 * a + b for a, b, _ in rows], dtype=np.float64)
    date = np.array([t / 86400.0 for _, _, t in rows], dtype=np.float64)
    inttim = np.full(n, 30.0)
    vis = np.zeros((n, 1, 1, n_if, n_chan, n_stokes, 3), dtype=np.float32)
    for g in range(n):
        for i in range(n_if):
            for c in range(n_chan):
                for s in range(n_stokes):
                    vis[g, 0, 0, i, c, s] = [g + 0.5 * i + 0.125 * c, -(s + 1) * 0.25 - g, 1.0 + 0.5 * s]
    parnames = ["BASELINE", "UU---SIN", "VV---SIN", "WW---SIN", "DATE", "INTTIM"]
    # The words as stored; PSCAL/PZERO go into the header afterwards (astropy 5.2's GroupData
    # writes corrupt parameters when it is given parbscales/parbzeros itself).
    pardata = [baseline.astype(np.float32), u_ns, v_ns, w_ns, date.astype(np.float32), inttim.astype(np.float32)]
    gdata = fits.GroupData(vis, parnames=parnames, pardata=pardata, bitpix=-32)
    prim = fits.GroupsHDU(gdata)
    h = prim.header
    for k in (2, 3, 4):
        h["PSCAL%d" % k] = 1e-9
    h["PZERO5"] = jd0
    axes = [("COMPLEX", 1.0, 1.0, 1.0), ("STOKES", -1.0, -1.0, 1.0), ("FREQ", ref_freq, ch_width, crpix),
            ("IF", 1.0, 1.0, 1.0), ("RA", 250.5, 1.0, 1.0), ("DEC", 39.75, 1.0, 1.0)]
    for k, (ctype, crval, cdelt, cpix) in enumerate(axes, start=2):
        h["CTYPE%d" % k], h["CRVAL%d" % k], h["CDELT%d" % k], h["CRPIX%d" % k] = ctype, crval, cdelt, cpix
    h["OBJECT"] = "J1642+39"
    h["TELESCOP"] = "VLA"
    h["DATE-OBS"] = "2023-02-24"
    h["EPOCH"] = 2000.0
    h["BUNIT"] = "UNCALIB"
    an_cols = [
        fits.Column(name="ANNAME", format="8A", array=[names[s] for s in stations]),
        fits.Column(name="STABXYZ", format="3D", unit="METERS", array=[offsets[s] for s in stations]),
        fits.Column(name="ORBPARM", format="0D"),
        fits.Column(name="NOSTA", format="1J", array=stations),
        fits.Column(name="MNTSTA", format="1J", array=[0, 0, 0]),
        fits.Column(name="STAXOF", format="1E", unit="METERS", array=[0.0] * 3),
        fits.Column(name="POLTYA", format="1A", array=["R"] * 3),
        fits.Column(name="POLAA", format="1E", unit="DEGREES", array=[0.0] * 3),
        fits.Column(name="POLCALA", format="4E", array=[[0.0] * 4] * 3),
        fits.Column(name="POLTYB", format="1A", array=["L"] * 3),
        fits.Column(name="POLAB", format="1E", unit="DEGREES", array=[0.0] * 3),
        fits.Column(name="POLCALB", format="4E", array=[[0.0] * 4] * 3),
    ]
    an = fits.BinTableHDU.from_columns(an_cols, name="AIPS AN")
    for k, v in [("EXTVER", 1), ("ARRAYX", centre[0]), ("ARRAYY", centre[1]), ("ARRAYZ", centre[2]),
                 ("GSTIA0", 154.5), ("DEGPDY", 360.9856449733), ("FREQ", ref_freq), ("RDATE", "2023-02-24"),
                 ("POLARX", 0.0), ("POLARY", 0.0), ("UT1UTC", 0.0), ("DATUTC", 0.0), ("TIMSYS", "UTC"),
                 ("ARRNAM", "VLA"), ("XYZHAND", "RIGHT"), ("NUMORB", 0), ("NOPCAL", 2), ("FREQID", 1),
                 ("IATUTC", 37.0)]:
        an.header[k] = v
    fq = fits.BinTableHDU.from_columns([
        fits.Column(name="FRQSEL", format="1J", array=[1]),
        fits.Column(name="IF FREQ", format="2D", unit="HZ", array=[if_freq]),
        fits.Column(name="CH WIDTH", format="2E", unit="HZ", array=[[ch_width] * 2]),
        fits.Column(name="TOTAL BANDWIDTH", format="2E", unit="HZ", array=[[ch_width * n_chan] * 2]),
        fits.Column(name="SIDEBAND", format="2J", array=[[1, 1]]),
    ], name="AIPS FQ")
    fq.header["EXTVER"], fq.header["NO_IF"] = 1, n_if
    su = fits.BinTableHDU.from_columns([
        fits.Column(name="ID. NO.", format="1J", array=[1]),
        fits.Column(name="SOURCE", format="16A", array=["J1642+39"]),
        fits.Column(name="RAEPO", format="1D", unit="DEGREES", array=[250.5]),
        fits.Column(name="DECEPO", format="1D", unit="DEGREES", array=[39.75]),
    ], name="AIPS SU")
    su.header["EXTVER"], su.header["NO_IF"] = 1, n_if
    fits.HDUList([prim, an, fq, su]).writeto(path, overwrite=True)

    # What a reader must find: physical values as the float32 words hold them.
    with fits.open(path) as check:
        d = check[0].data
        date_read = np.asarray(d.par("DATE"), dtype=np.float64)
    truth = {
        "jd0": jd0,
        "groups": [{
            "tel1": a, "tel2": b,
            "u": float(np.float32(np.float64(u_ns[g]) * 1e-9)),
            "v": float(np.float32(np.float64(v_ns[g]) * 1e-9)),
            "w": float(np.float32(np.float64(w_ns[g]) * 1e-9)),
            "time_s": float((date_read[g] - jd0) * 86400.0),
            "vis": [float(x) for x in vis[g, 0, 0].reshape(-1)],
        } for g, (a, b, _) in enumerate(rows)],
        "freq_hz": [[ref_freq + if_freq[i] + (c + 1 - crpix) * ch_width for c in range(n_chan)] for i in range(n_if)],
        "stokes": [-1, -2],
        "telescopes": [{"number": s, "name": names[s],
                        "xyz": [centre[k] + offsets[s][k] for k in range(3)]} for s in stations],
        "source": {"name": "J1642+39", "ra": 250.5, "dec": 39.75},
        "time_step_s": 30.0,
    }
    json.dump(truth, sys.stdout)


if __name__ == "__main__":
    if len(sys.argv) >= 3 and sys.argv[1] == "read":
        read(sys.argv[2], int(sys.argv[3]) if len(sys.argv) > 3 else 0)
    elif len(sys.argv) == 3 and sys.argv[1] == "aips":
        aips(sys.argv[2])
    else:
        sys.exit(__doc__)
