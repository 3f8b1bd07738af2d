// Hides what lies in some directions in a picture of NV12, as hide.c does: libvela-overlay by Rust's foreign functions.
// usage: hide [PAN [TILT]] <picture >hidden
use std::env;
use std::ffi::c_void;
use std::io::{self, Read, Write};
use std::ptr::null;

#[repr(C)]
struct Direction {
    pan: f64,
    tilt: f64,
}

#[repr(C)]
struct Orientation {
    pan: f64,
    tilt: f64,
    roll: f64,
}

#[repr(C)]
struct Lens {
    model: i32,
    fov: f64,
    fx: f64,
    fy: f64,
    cx: f64,
    cy: f64,
    distortion: [f64; 5],
}

#[repr(C)]
#[derive(Default)]
struct Plane {
    data: usize,
    size: usize,
    stride: usize,
}

#[repr(C)]
struct Picture {
    width: i32,
    height: i32,
    format: i32,
    colours: i32,
    planes: [Plane; 3],
}

const PINHOLE: i32 = 1;
const NV12: i32 = 5;
const BT709_STUDIO: i32 = 2;

#[link(name = "vela-overlay")]
extern "C" {
    fn vela_picture_lay_out(picture: *mut Picture, data: *mut u8, size: usize) -> usize;
    fn vela_lens_of_fov(model: i32, width: i32, height: i32, degrees: f64) -> Lens;
    fn vela_view_make(width: i32, height: i32, place: *const Orientation, lens: *const Lens) -> *mut c_void;
    fn vela_view_free(view: *mut c_void);
    fn vela_mask_make(corners: *const Direction, count: usize) -> *mut c_void;
    fn vela_mask_free(mask: *mut c_void);
    fn vela_mask_hide(
        mask: *mut c_void,
        from: *const c_void,
        to: *const c_void,
        picture: *const Picture,
        cover: *const c_void,
    ) -> i32;
}

// What a function made, released with it.
struct Owned(*mut c_void, unsafe extern "C" fn(*mut c_void));

impl Drop for Owned {
    fn drop(&mut self) {
        unsafe { (self.1)(self.0) }
    }
}

fn hide(picture: &Picture, place: &Orientation, corners: &[Direction]) -> bool {
    unsafe {
        let lens = vela_lens_of_fov(PINHOLE, picture.width, picture.height, 60.0);
        let view = Owned(vela_view_make(picture.width, picture.height, place, &lens), vela_view_free);
        let door = Owned(vela_mask_make(corners.as_ptr(), corners.len()), vela_mask_free);
        !view.0.is_null() && !door.0.is_null() && vela_mask_hide(door.0, view.0, null(), picture, null()) == 0
    }
}

fn main() -> io::Result<()> {
    let angle = |i: usize| env::args().nth(i).and_then(|text| text.parse().ok()).unwrap_or(0.0);
    let place = Orientation { pan: angle(1), tilt: angle(2), roll: 0.0 };
    let corners = [(-5.0, 8.0), (5.0, 8.0), (5.0, -12.0), (-5.0, -12.0)].map(|(pan, tilt)| Direction { pan, tilt });
    let mut picture = Picture { width: 640, height: 360, format: NV12, colours: BT709_STUDIO, planes: Default::default() };
    let mut bytes = vec![0; unsafe { vela_picture_lay_out(&mut picture, std::ptr::null_mut(), 0) }];
    io::stdin().read_exact(&mut bytes)?;
    unsafe { vela_picture_lay_out(&mut picture, bytes.as_mut_ptr(), bytes.len()) };
    assert!(hide(&picture, &place, &corners), "not hidden");
    io::stdout().write_all(&bytes)
}
