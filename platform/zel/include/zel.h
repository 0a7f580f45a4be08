// The Zel imaging library (host stand-in).
//
// The part above "Host side" is what a compute-device plug-in calls; the part below is how
// a program or a test builds images, regions and operations and has the host run them.
//
// Coordinates
// -----------
// Every operation works in one operation space. An image with origin (ox, oy) places its
// pixel (X, Y) at operation-space point (X - ox, Y - oy); read the other way, operation-space
// point (x, y) is the image's pixel (x + ox, y + oy). A new image's origin is (0, 0).
//
// Regions (ZelRoi) are sets of disjoint rectangles in operation space. An image's region is
// its region of interest (setRoi) clipped to its extent, or its whole extent
// (-ox, -oy, width, height) when none is set; getImageSpaceRoi returns it. ZeliGetRoiList
// intersects the regions of the destination and the non-null sources and lists the result
// as rectangles sorted top to bottom, then left to right: disjoint and never empty. An
// operation visits exactly those rectangles, so it never reaches outside any of its images.
//
// Children
// --------
// A child is a rectangle and/or a run of bands of a root image; it shares the root's pixels
// and storage records. getStorage of a child returns the root's record itself, and
// getChildOffsets tells where the child's pixel (0, 0) and band 0 lie in the root. A child
// of a child is made as a child of the root with the offsets added, so getParent of any child
// is a root. A child has its own origin and region. Band b of a child of an 8-bit root is
// byte (1 + band + b) of a 3-band root's 4-byte pixel, byte (band + b) of a 4-band (or
// 2-band) root's pixel; 16-bit children address element (band + b) of the root's pixel.
//
// Pixel memory
// ------------
// Every root image keeps its pixels in one page-aligned buffer in the layout of "kx"
// storage: 8-bit pixels take 1 byte (1 band), 2 bytes (2 bands) or 4 bytes (3 and 4 bands;
// a 3-band pixel holds its bands in bytes 1..3, byte 0 is not part of the image); 16-bit
// pixels take one signed element a band, in the host's byte order. Rows may be padded. When
// the pixel processor can alias the buffer the image has "kx" storage describing it; when no
// processor exists (kx_fd_get() < 0) or the alias cannot be made, the image has no "kx"
// storage (getStorage("kx") is nullptr) but the same buffer, and getPixel/setPixel and the
// host's software operations work on it all the same. "memory" and "ckx" storage are
// separate buffers added on request; nothing keeps them in step with the pixels.
#ifndef ZEL_H
#define ZEL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class ZelSystemState;
class ZelImage;
class ZelRoi;
class ZelKernel;
class ZelLookup;
class ZelColorspace;
class ZelRectList;
class ZelOp;
class ZelOpTreeNode;
class ZelGlobalState;
class ZelDeviceComputeType;

// Storage records, as the host's storage provider fills them. Strides count elements.
struct __ZelKXStorage {
  unsigned char* host_address;  // ordinary address of the first pixel
  uint32_t line_stride;
  uint16_t pixel_stride;
  uint16_t unused;
  uint32_t kx_address;  // pixel-memory alias address of the first pixel
  uint32_t opaque1;
  uint32_t opaque2;
};

struct __ZelMemoryStorage {
  unsigned char* host_address;
  uint32_t line_stride;
  uint16_t pixel_stride;
};

enum ZelDataType : int { ZEL_UINT8 = 1, ZEL_INT16 = 2 };

// An object's version: a fresh number from one process-wide counter at the object's
// creation and at every change, so that two objects, or one object before and after a
// change, never share one. A default-made version equals no object's.
class ZelVersionNumber {
 public:
  ZelVersionNumber() = default;
  bool operator==(const ZelVersionNumber& other) const { return value_ == other.value_; }
  bool operator!=(const ZelVersionNumber& other) const { return value_ != other.value_; }
  static ZelVersionNumber next() {
    static uint64_t counter = 0;
    ZelVersionNumber v;
    v.value_ = ++counter;
    return v;
  }

 private:
  uint64_t value_ = 0;
};

// Base of every host object. Objects are released with destroy(), never deleted.
class ZelObject {
 public:
  virtual void destroy() = 0;
  virtual ZelSystemState* getSystemState() const { return state_; }
  virtual ZelVersionNumber getVersion() const { return version_; }
  // Host objects alive in the process: what a caller made and did not destroy shows here.
  static long liveObjects() { return live_; }

 protected:
  explicit ZelObject(ZelSystemState* state)
      : state_(state), version_(ZelVersionNumber::next()) {
    ++live_;
  }
  ZelObject(const ZelObject& other) : state_(other.state_), version_(other.version_) {
    ++live_;
  }
  ZelObject& operator=(const ZelObject&) = default;
  ~ZelObject() { --live_; }
  void changed() { version_ = ZelVersionNumber::next(); }

 private:
  ZelSystemState* state_;
  ZelVersionNumber version_;
  static inline long live_ = 0;
};

// A list of rectangles, consumed one at a time. Its fourth virtual operation, after the
// three of ZelObject, yields the next rectangle and returns nonzero, or returns 0 at the end.
class ZelRectList : public ZelObject {
 public:
  virtual int getNextRect(int* x, int* y, int* width, int* height) = 0;

 protected:
  using ZelObject::ZelObject;
  ~ZelRectList() = default;
};

// The shape and element type of an image.
class ZelImageType {
 public:
  unsigned getBands() const { return bands_; }
  int getDataType() const { return data_type_; }
  unsigned getWidth() const { return width_; }
  unsigned getHeight() const { return height_; }

 protected:
  ZelImageType(unsigned width, unsigned height, unsigned bands, int data_type)
      : width_(width), height_(height), bands_(bands), data_type_(data_type) {}

 private:
  unsigned width_, height_, bands_;
  int data_type_;
};

class ZelImage final : public ZelObject, public ZelImageType {
 public:
  void destroy() override;

  // The record of the named storage ("kx", "ckx", "memory"), or nullptr. A child returns its
  // root's record; getChildOffsets then tells where the child lies in it.
  void* getStorage(const char* name);
  void getChildOffsets(unsigned* x, unsigned* y, unsigned* band) const;
  ZelImage* getParent() const { return parent_; }
  void getDimensions(unsigned* width, unsigned* height, unsigned* bands) const;
  void getOrigin(int* x, int* y) const;
  // The image's region in operation space: its region of interest clipped to its extent,
  // or its whole extent when none is set. The region belongs to the image and follows
  // setOrigin and setRoi: callers do not destroy it. (nullptr only when a test asks for it:
  // ZelGlobalState::failImageRegions.)
  ZelRoi* getImageSpaceRoi();
  // A copy of the region of interest set on the image (as set, not clipped), or nullptr;
  // the caller destroys it.
  ZelRoi* getRoi() const;

  // ---- Host side ----
  // Band `band` of pixel (x, y) in image coordinates: 0..255 for 8-bit data, -32768..32767
  // for 16-bit data. setPixel stores the value's low 8 or 16 bits (two's complement), so
  // 16-bit -1 and 0xffff are the same element. Outside the image getPixel gives 0 and
  // setPixel does nothing.
  int getPixel(unsigned x, unsigned y, unsigned band) const;
  void setPixel(unsigned x, unsigned y, unsigned band, int value);
  void setOrigin(int x, int y);
  void setRoi(const ZelRoi* roi);  // copied; nullptr clears it
  // A child: the rectangle (x, y, width, height) and bands band .. band + bands - 1 of this
  // image; nullptr when that is empty or does not lie inside it. A child of a child becomes
  // a child of the root (see "Children" above). Destroying an image destroys its children.
  ZelImage* createChild(unsigned x, unsigned y, unsigned width, unsigned height, unsigned band,
                        unsigned bands);
  // Adds "kx" (aliases the pixels again after removeStorage), "memory" (a separate zeroed
  // buffer, packed: 8-bit 3-band pixels in 3 bytes) or "ckx" (separate contiguous memory from
  // /dev/kx_cmem in the "kx" layout with a packed line stride) storage. True when the image
  // has it afterwards; false when it cannot be had. Storage belongs to the root: on a child
  // addStorage returns false and removeStorage does nothing. Removing "kx" storage keeps
  // the pixels but makes an image the plug-in cannot use.
  bool addStorage(const char* name);
  void removeStorage(const char* name);
  // Records that the pixels changed behind the host's back (a device wrote them): bumps the
  // version of this image and of its root. setPixel does the same.
  void markChanged();
  // Band `band` of the pixels in host memory, for loops over rows: band `band` of pixel
  // (x, y) is element x * pixel_stride + y * line_stride after `first` (bytes for 8-bit
  // data, 16-bit numbers in the host's order for 16-bit data). `first` is nullptr for a
  // band the image does not have. A caller that writes through it calls markChanged.
  struct BandLayout {
    unsigned char* first = nullptr;
    size_t pixel_stride = 0;
    size_t line_stride = 0;
  };
  BandLayout bandLayout(unsigned band) const;

 private:
  friend class ZelSystemState;
  struct Buffer;
  ZelImage(ZelSystemState* state, unsigned width, unsigned height, unsigned bands,
           int data_type);
  ~ZelImage();
  ZelImage* root() { return parent_ ? parent_ : this; }
  const ZelImage* root() const { return parent_ ? parent_ : this; }
  unsigned char* elementAddress(unsigned x, unsigned y, unsigned band) const;
  void updateSpaceRoi();
  bool makePixels(unsigned row_padding);
  static __ZelKXStorage storage_record(const Buffer* buffer, uint32_t line_stride,
                                       uint16_t pixel_stride, uint32_t opaque1,
                                       uint32_t opaque2);
  bool aliasPixels();
  bool addCkx();

  ZelImage* parent_ = nullptr;  // the root, for a child
  unsigned child_x_ = 0, child_y_ = 0, child_band_ = 0;
  int origin_x_ = 0, origin_y_ = 0;
  ZelRoi* roi_ = nullptr;
  ZelRoi* space_roi_ = nullptr;
  std::vector<ZelImage*> children_;
  uint32_t serial_ = 0;  // carried in the records' opaque2
  // Layout of the pixel buffer (roots): elements from a pixel to the next and from a row to
  // the next.
  uint32_t line_stride_ = 0;
  uint16_t pixel_stride_ = 0;
  __ZelKXStorage kx_{};
  __ZelKXStorage ckx_{};
  __ZelMemoryStorage memory_{};
  Buffer* kx_buffer_ = nullptr;  // the pixels; aliased when the image has "kx" storage
  Buffer* ckx_buffer_ = nullptr;
  Buffer* memory_buffer_ = nullptr;
};

// A region: a set of disjoint rectangles in operation space.
//
// Its virtual operations keep the host's slot order, on which plug-ins depend: the three of
// ZelObject (destroy, getSystemState, getVersion), the twenty-one below in the order they
// are declared, then getRectList as the 25th. New virtual operations go after getRectList.
class ZelRoi final : public ZelObject {
 public:
  struct Rect {
    int x, y, width, height;
  };
  void destroy() override;

  // New regions (the caller destroys them); a null `other` gives nullptr. Parts moved
  // beyond the int range are dropped.
  virtual ZelRoi* translate(int dx, int dy) const;
  virtual ZelRoi* intersect(const ZelRoi* other) const;
  virtual ZelRoi* unite(const ZelRoi* other) const;
  virtual ZelRoi* subtract(const ZelRoi* other) const;  // the points of this not in other
  virtual ZelRoi* clone() const;

  // Changes in place, 0 or 2. A rectangle with a negative size gives 2 and changes
  // nothing; an empty one adds or removes nothing. addRect adds the part of the rectangle
  // the region does not cover yet and refuses (2) a rectangle reaching beyond the int
  // range; intersectRect keeps only the part inside the rectangle; offset moves the region
  // (parts moved beyond the int range are dropped).
  virtual int addRect(int x, int y, int width, int height);
  virtual int subtractRect(int x, int y, int width, int height);
  virtual int intersectRect(int x, int y, int width, int height);
  virtual int offset(int dx, int dy);
  virtual void clear();

  // Questions about points. An empty rectangle is contained in every region and overlaps
  // none; a rectangle with a negative size is neither. equals compares point sets, however
  // the two regions are cut into rectangles; a null `other` is neither equal nor
  // overlapping.
  virtual bool contains(int x, int y) const;
  virtual bool containsRect(int x, int y, int width, int height) const;
  virtual bool overlapsRect(int x, int y, int width, int height) const;
  virtual bool overlaps(const ZelRoi* other) const;
  virtual bool equals(const ZelRoi* other) const;
  virtual bool empty() const;
  virtual bool isRectangle() const;  // exactly one rectangle's points (not empty)
  virtual long long area() const;
  // The smallest rectangle holding the region: 0, or 2 (and zeros) when the region is
  // empty or the rectangle's size does not fit an int.
  virtual int bounds(int* x, int* y, int* width, int* height) const;
  virtual int rectCount() const;
  // Rectangle i (from 0) in the order of rects(): 0, or 2 (outputs untouched) when there
  // is none.
  virtual int getRect(int i, int* x, int* y, int* width, int* height) const;

  // The 25th virtual operation: the rectangles, top to bottom, left to right, as a list the
  // caller destroys (nullptr only when a test asks for it: ZelGlobalState::failRectLists).
  virtual ZelRectList* getRectList() const;

  // The region transposed about (cx, cy) (a new region the caller destroys): a pixel (x, y),
  // at (u, v) = (x - cx, y - cy) from the centre, goes to the centre plus (u, -v) for type
  // 0, (-u, v) 1, (v, u) 2, (-v, -u) 3, (v, -u) 4, (-u, -v) 5, (-v, u) 6. With y downwards,
  // 4 turns a quarter counter-clockwise on screen and 6 clockwise. A pixel that lands
  // between pixels goes to the one to its right or below (the position plus 1/2, rounded
  // down); parts beyond the int range are dropped; any other type gives nullptr.
  virtual ZelRoi* transpose(int type, double cx, double cy) const;
  // The region scaled about (0, 0) (a new region the caller destroys): [x0, x1) becomes
  // [ceil(qx x0), ceil(qx x1)), likewise rows, so that a pixel's new place holds the points
  // whose scaled-back position falls in it; nullptr for a factor not finite and positive.
  virtual ZelRoi* scale(double qx, double qy) const;

  // ---- Host side ----
  // Disjoint, non-empty, sorted by top edge and then left edge.
  const std::vector<Rect>& rects() const { return rects_; }
  // intersect and addRect for the host's own use: they never fail on a test's demand.
  ZelRoi* hostIntersect(const ZelRoi* other) const;
  int hostAddRect(int x, int y, int width, int height);

 private:
  friend class ZelSystemState;
  friend class ZelImage;
  explicit ZelRoi(ZelSystemState* state) : ZelObject(state) {}
  ~ZelRoi() = default;
  // Takes `rects` (disjoint, non-empty) as the region's rectangles, in order.
  void assign(std::vector<Rect> rects);
  std::vector<Rect> rects_;
};

// A kernel: width x height floats, row by row (for instance a matrix with an offset
// column). Made by ZelSystemState::createKernel; its values do not change.
class ZelKernel final : public ZelObject {
 public:
  void destroy() override;
  int getWidth() const { return width_; }
  int getHeight() const { return height_; }
  // The key point: the element that stands over the pixel being computed (convolutions)
  // or at the point painted (brushes); it may lie outside the kernel.
  int16_t getKeyX() const { return key_x_; }
  int16_t getKeyY() const { return key_y_; }
  const float* getValue() const { return values_.data(); }  // row by row

 private:
  friend class ZelSystemState;
  ZelKernel(ZelSystemState* state, int width, int height, const float* values, int16_t key_x,
            int16_t key_y);
  ~ZelKernel() = default;
  int width_, height_;
  int16_t key_x_, key_y_;
  std::vector<float> values_;
};

// A lookup table: getNumEntries() entries of getNBands() values each, entry 0 standing for
// the source value getOffset(); a source value v takes entry min(max(v - offset, 0), n - 1).
// The values are bytes for an 8-bit destination and signed 16-bit words for a 16-bit one
// (getDataType), entry by entry, band by band. Made by ZelSystemState::createLookup; its
// values do not change.
class ZelLookup final : public ZelObject {
 public:
  void destroy() override;
  int getNumEntries() const { return entries_; }
  uint16_t getNBands() const { return bands_; }
  int16_t getOffset() const { return offset_; }
  int getDataType() const { return data_type_; }
  const void* getData() const;  // uint8_t or int16_t values, entries x bands
  // ---- Host side ----
  int value(int entry, unsigned band) const;  // as a number: 0..255 or -32768..32767

 private:
  friend class ZelSystemState;
  ZelLookup(ZelSystemState* state, int entries, uint16_t bands, int16_t offset, int data_type,
            const int* values);
  ~ZelLookup() = default;
  int entries_;
  uint16_t bands_;
  int16_t offset_;
  int data_type_;
  std::vector<uint8_t> bytes_;
  std::vector<int16_t> words_;
};

// The colour spaces the host knows: an opcode, a name and the bands of an image in that
// space, in band order. rgb spaces hold blue, green, red in bands 0, 1, 2; the ycc spaces
// (and photoycc) luma, blue difference, red difference; cmyk cyan, magenta, yellow, black;
// ylinear one band.
enum ZelColorspaceOpcode : int {
  ZEL_CS_RGBLINEAR = 1,
  ZEL_CS_RGB709 = 2,
  ZEL_CS_PHOTOYCC = 3,
  ZEL_CS_YCC601 = 4,
  ZEL_CS_YCC709 = 5,
  ZEL_CS_YLINEAR = 6,
  ZEL_CS_CMYK = 10,
};

struct ZelColorspaceInfo {
  int opcode;
  const char* name;
  unsigned bands;
};
// The known colour spaces in opcode order; nullptr for an unknown opcode or name.
const std::vector<ZelColorspaceInfo>& zel_colorspaces();
const ZelColorspaceInfo* zel_colorspace_info(int opcode);
const ZelColorspaceInfo* zel_colorspace_named(const char* name);

// A colour space as an operation parameter. Made by ZelSystemState::createColorspace.
class ZelColorspace final : public ZelObject {
 public:
  void destroy() override;
  int getOpcode() const { return info_->opcode; }
  const char* getName() const { return info_->name; }
  unsigned getBands() const { return info_->bands; }

 private:
  friend class ZelSystemState;
  ZelColorspace(ZelSystemState* state, const ZelColorspaceInfo* info)
      : ZelObject(state), info_(info) {}
  ~ZelColorspace() = default;
  const ZelColorspaceInfo* info_;
};

// A host operation: its name, images, inner operation and typed parameters (numbered
// from 1).
class ZelOp final : public ZelObject {
 public:
  void destroy() override;

  const char* getName() const { return name_.c_str(); }
  ZelImage* getSrc1() const { return src_[0]; }
  ZelImage* getSrc2() const { return src_[1]; }
  ZelImage* getSrc3() const { return src_[2]; }
  ZelImage* getDst() const { return dst_; }
  ZelOp* getOp1() const { return op1_; }
  void* getPtrParam(int n) const;
  ZelObject* getObjParam(int n) const;
  float getFloatParam(int n) const;
  long getLongParam(int n) const;

  // ---- Host side ----
  void setSrc(int n, ZelImage* image);  // n = 1, 2, 3
  void setDst(ZelImage* image) { dst_ = image; }
  void setOp1(ZelOp* op) {  // an inner operation made by createOp is destroyed here
    if (owns_op1_ && op != op1_) op1_->destroy();
    owns_op1_ = owns_op1_ && op == op1_;
    op1_ = op;
  }
  void setPtrParam(int n, void* value);
  void setObjParam(int n, ZelObject* value);
  void setFloatParam(int n, float value);
  void setLongParam(int n, long value);

 private:
  friend class ZelSystemState;
  struct Param {
    void* ptr = nullptr;
    ZelObject* obj = nullptr;
    float f = 0.0f;
    long l = 0;
  };
  ZelOp(ZelSystemState* state, const char* name);
  ~ZelOp();
  std::string name_;
  ZelImage* src_[3] = {nullptr, nullptr, nullptr};
  ZelImage* dst_ = nullptr;
  ZelOp* op1_ = nullptr;
  bool owns_op1_ = false;  // made by createOp from a two-level path
  std::vector<Param> params_;
};

// One error report, as notifyError received it.
struct ZelErrorReport {
  const ZelSystemState* state;
  int category;
  std::string id;
  int flag;
  int line;
  std::string file;
  const ZelObject* object;
};

class ZelSystemState {
 public:
  // The host's error service. `state` may be null (a report with no system state).
  static void notifyError(ZelSystemState* state, int category, const char* id, int flag,
                          int line, const char* file, ZelObject* object);

  // A new root image of 1 to 4 bands of ZEL_UINT8 or ZEL_INT16 data with "kx" storage
  // (when a processor can alias it; see "Pixel memory" above): 8-bit 3-band pixels take
  // 4 bytes with bands in bytes 1..3. Each row is followed by `row_padding` unused elements,
  // so line_stride = width * pixel_stride + row_padding. Pixels start at 0. nullptr for a
  // zero size, another band count or data type, or memory that cannot be had.
  ZelImage* createImage(unsigned width, unsigned height, unsigned bands, int data_type,
                        unsigned row_padding = 0);
  ZelRoi* createRoi();
  // An operation by its name; a two-level path "inner/outer" (as "convolve8/convolve8")
  // makes the outer operation, named by the second name, with an inner operation named by
  // the first as its getOp1(), destroyed with it.
  ZelOp* createOp(const char* name);
  // A kernel of width x height values copied from `values` (row by row; zeros when
  // `values` is null). nullptr when a size is below 1 or the kernel exceeds 2^24 values.
  ZelKernel* createKernel(int width, int height, const float* values, int16_t key_x = 0,
                          int16_t key_y = 0);
  // A lookup of `entries` entries of `bands` values (1 to 4) for a destination of
  // `data_type`, entry 0 for source value `offset`; `values` (entries x bands numbers, entry
  // by entry) are stored as bytes or 16-bit words, keeping their low 8 or 16 bits. nullptr
  // for a negative count, bands outside 1..4, an offset outside -32768..32767, another
  // data type or more than 2^24 values. A lookup of 0 entries can be made (and is refused
  // by the operations).
  ZelLookup* createLookup(int entries, unsigned bands, int offset, int data_type,
                          const int* values);
  // nullptr for an opcode zel_colorspace_info does not know.
  ZelColorspace* createColorspace(int opcode);

  // ---- Host side ----
  ZelSystemState() = default;
  ZelSystemState(const ZelSystemState&) = delete;
  ZelSystemState& operator=(const ZelSystemState&) = delete;
};

// The system state programs use when they need only one; it lives as long as the process.
ZelSystemState* zel_default_state();

// Every report since start-up (or the last clear), in order. Each report is also printed as
// one line on standard error, e.g. "zel: error di-12 (category 0, flag 0) in Add8KX line
// 139", unless quiet. Null `id` and `file` are recorded as empty strings.
const std::vector<ZelErrorReport>& zel_error_log();
void zel_clear_error_log();
void zel_set_quiet(bool quiet);

// The rectangles where the regions of the destination and of the non-null sources meet
// (see "Coordinates" above); an empty meeting gives a list with no rectangle. Returns the
// list and, through `roi`, the region it lists; the caller destroys both. Returns nullptr
// (and sets *roi to nullptr) when it cannot: every image is null, a region or the list
// cannot be had, or zel_global_state->failRoiLists asked it to fail.
ZelRectList* ZeliGetRoiList(ZelRoi** roi, ZelImage* dst, ZelImage* src1, ZelImage* src2,
                            ZelImage* src3);

void zel_memcpy(void* destination, const void* source, size_t bytes);

// ---- Devices and the operation tree ----

class ZelDeviceType {
 public:
  explicit ZelDeviceType(char* name);
  virtual void printStatus();
  virtual void optimizeMemoryUsage();
  virtual ~ZelDeviceType();
  const char* getName() const { return name_.c_str(); }

 private:
  std::string name_;
};

class ZelDeviceComputeType : public ZelDeviceType {
 public:
  explicit ZelDeviceComputeType(char* name) : ZelDeviceType(name) {}
  ~ZelDeviceComputeType() override;
  // How many ZelDeviceComputeType destructors have run in this process.
  static int destructorRuns();
};

// A compute routine: a non-virtual member of a device, called with the operation and a
// count the routine ignores; returns 0, or 2 to let the host do the operation.
typedef int (ZelDeviceComputeType::*ZelComputeFunction)(ZelOp*, int);

class ZelOpTreeNode {
 public:
  struct Function {
    ZelDeviceComputeType* device;
    ZelComputeFunction routine;
  };
  // The child node for an operation name, made when absent.
  ZelOpTreeNode* branch(const char* name);
  // Attaches a device's routine; 0, or 2 when the tree refuses (see refuseRegistration; a
  // null device or routine, and the root itself, are refused too).
  int addFunction(ZelDeviceComputeType* device, ZelComputeFunction routine);
  // Removes every routine of the device from this node and all below it.
  void removeFunctions(ZelDeviceComputeType* device);

  // ---- Host side ----
  ZelOpTreeNode* find(const char* name) const;  // nullptr when absent
  const std::vector<Function>& functions() const { return functions_; }
  const std::string& name() const { return name_; }
  std::string path() const;  // "convolve8/convolve8"; "" for the root
  ~ZelOpTreeNode();
  ZelOpTreeNode(const ZelOpTreeNode&) = delete;
  ZelOpTreeNode& operator=(const ZelOpTreeNode&) = delete;

 private:
  friend class ZelGlobalState;
  ZelOpTreeNode(ZelGlobalState* owner, ZelOpTreeNode* parent, std::string name)
      : owner_(owner), parent_(parent), name_(std::move(name)) {}
  ZelGlobalState* owner_;
  ZelOpTreeNode* parent_;
  std::string name_;
  std::vector<std::pair<std::string, ZelOpTreeNode*>> children_;
  std::vector<Function> functions_;
};

class ZelGlobalState {
 public:
  ZelOpTreeNode* getOpTreeBase() { return &root_; }

  // ---- Host side ----
  ZelGlobalState() : root_(this, nullptr, "") {}
  ZelGlobalState(const ZelGlobalState&) = delete;
  ZelGlobalState& operator=(const ZelGlobalState&) = delete;
  // The paths that hold functions, each once, in the order they received their first one
  // ("convolve8/convolve8" for a two-level path); a path whose functions are all removed
  // leaves the list.
  const std::vector<std::string>& registeredPaths() const { return registered_; }
  // Tests: the n-th addFunction call from now (1 = the next) returns 2 and attaches
  // nothing; later calls succeed again. 0 = refuse none.
  void refuseRegistration(int n) { refuse_countdown_ = n; }
  // Tests: the next n calls of ZeliGetRoiList fail.
  void failRoiLists(int n) { failing_roi_lists_ = n; }
  bool takeRoiListFailure();
  // Tests: the next n calls of ZelImage::getImageSpaceRoi, or of ZelRoi::getRectList, give
  // nullptr (and so make ZeliGetRoiList fail).
  void failImageRegions(int n) { failing_image_regions_ = n; }
  void failRectLists(int n) { failing_rect_lists_ = n; }
  bool takeImageRegionFailure();
  bool takeRectListFailure();
  // Tests: the next n calls of ZelSystemState::createImage or createRoi give nullptr, of
  // ZelRoi::addRect give 2, of ZelRoi::intersect give nullptr.
  void failImages(int n) { failing_images_ = n; }
  void failRois(int n) { failing_rois_ = n; }
  void failAddRects(int n) { failing_add_rects_ = n; }
  void failIntersects(int n) { failing_intersects_ = n; }
  bool takeImageFailure();
  // Images ZelSystemState::createImage has made, in every state, since the process began.
  long imagesCreated() const { return images_created_; }
  void noteImageCreated() { ++images_created_; }
  bool takeRoiFailure();
  bool takeAddRectFailure();
  bool takeIntersectFailure();

 private:
  friend class ZelOpTreeNode;
  ZelOpTreeNode root_;
  std::vector<std::string> registered_;
  int refuse_countdown_ = 0;
  int failing_roi_lists_ = 0;
  int failing_image_regions_ = 0;
  int failing_rect_lists_ = 0;
  int failing_images_ = 0;
  long images_created_ = 0;
  int failing_rois_ = 0;
  int failing_add_rects_ = 0;
  int failing_intersects_ = 0;
};

extern ZelGlobalState* zel_global_state;

// ---- Running operations ----

// Loads a compute-device plug-in (dlopen, then its ZelCreateComputeType) and keeps the
// device. Returns the device, or nullptr with a one-line reason in *why.
// One device at a time: a call while a device is loaded fails. When the entry returns null
// ("no pixel processor") the plug-in stays loaded until zel_unload_device or the next load.
ZelDeviceComputeType* zel_load_device(const char* path, std::string* why);
// The loaded device, or nullptr.
ZelDeviceComputeType* zel_loaded_device();
// Removes the loaded device's functions from the operation tree, deletes the device
// (through its virtual destructor) and unloads the plug-in. Harmless when none is loaded.
void zel_unload_device();
// The plug-in next to the running program: <dir of executable>/../lib/ZelDeviceComputeKX.so.
std::string zel_default_device_path();

enum class ZelPath { device_then_host, device_only, host_only };
struct ZelRunResult {
  int status = 2;           // 0 success, 2 refused or failed
  bool device_ran = false;  // a device routine was called
  int device_status = 2;    // what it returned
  bool host_ran = false;    // the host's software implementation ran
};
// Runs an operation by its name (and, for a two-level path, its inner operation's name):
// the first routine registered at the node first, then, when there is none or it returns 2
// and the path allows, the host's own software implementation of the operation's name (of
// the path "inner/outer" for an operation with an inner one). After a success the
// destination's version is bumped.
ZelRunResult zel_run(ZelOp* op, ZelPath path = ZelPath::device_then_host);

// What an operation's parameters are, so that tools and tests can supply them.
enum class ZelParams {
  none,
  constants,      // pointer 1: one float per band
  bit_constants,  // pointer 1: one unsigned 32-bit integer per band
  fill,           // pointer 1: one float per band, the colour (no source image)
  rescale,        // pointer 1: one scale per band; pointer 2: one offset per band (floats)
  matrix,         // object 1: a ZelKernel of 3 rows of 4 floats (3 coefficients, an offset)
  threshold,      // pointers 1, 2, 3: the low and high thresholds and the map value (floats)
  extrema,        // pointers 1, 2: receive the per-band maxima and minima (no destination)
  lookup,         // pointer 1: a ZelLookup whose entries take the destination's type
  colorspaces,    // objects 1, 2: the source's and the destination's ZelColorspace
  paint,   // pointer 1: the colour (a float a band); pointer 2: the brush, a ZelKernel of
           // weights with its key; long 3: the number of points; pointer 4: x, y floats a point
  kernel,  // object 1: a ZelKernel with its key point; long 2: the edge condition
  kernel_pointer,  // pointer 1: a ZelKernel with its key point; long 2: the edge condition
  kernel_pair,     // two-level: the inner operation (getOp1, reading src1) a row kernel as
                   // `kernel`, the outer a column kernel and its edge condition the same way
  translate,       // floats 1, 2: the horizontal and vertical offsets, in pixels
  rotate,          // float 1: the angle in radians, counter-clockwise on screen
  scale,           // floats 1, 2: the horizontal and vertical factors (positive)
  transpose,       // long 1: the transpose type, 0..6 (ZelRoi::transpose; the destination's
                   // pixel takes the source pixel the type maps there)
};

// What a convolution does where a pixel's neighbourhood leaves the source.
enum ZelEdgeCondition : long {
  ZEL_EDGE_NO_WRITE = 0,  // the pixel is left as it is
  ZEL_EDGE_ZERO = 1,      // the pixel becomes 0
  ZEL_EDGE_EXTEND = 2,    // source coordinates are clamped into the source
};

// The host's own operations, which a device may accelerate.
struct ZelOperationInfo {
  const char* name;
  int sources;                 // images read (src1, src2, src3)
  int data_type;               // of the sources and destination: ZEL_UINT8 or ZEL_INT16
  int (*software)(ZelOp* op);  // 0, or 2 when the operands are not valid for it
  ZelParams params = ZelParams::none;
  int dst_data_type = 0;  // of the destination when it differs from the sources', else 0
  // The one band count of its sources (and of its destination, unless its parameters give
  // the destination's: a lookup's bands, a destination colour space's), 0 for any.
  unsigned bands = 0;
  int src3_data_type = 0;  // of a third source (a blend's alpha, one band), when it reads one
  // The device reads the source from "ckx" storage: zel_run gives the source's root that
  // storage, filled from its pixels by the plug-in's copyKX2Ckx, before the device runs
  // (only for a root whose rows are packed, which is how copyKX2Ckx copies them).
  bool ckx_source = false;
};
// nullptr for a name (or two-level path) the host does not implement.
const ZelOperationInfo* zel_operation_info(const char* name);
const std::vector<ZelOperationInfo>& zel_operations();

#endif
