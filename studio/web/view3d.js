// The 3D view: the selected layer's gathered geometry at the current frame (points, the edges
// of its faces, the faces) and the comp camera's view drawn as a frustum, in plain WebGL. Drag
// to orbit around the geometry, the wheel to come closer. Comp space has Y down; the view
// turns it up.

const VERTEX = `
attribute vec3 position;
attribute vec4 color;
uniform mat4 view;
uniform float pointSize;
varying vec4 shade;
void main() {
  gl_Position = view * vec4(position, 1.0);
  gl_PointSize = pointSize;
  shade = color;
}`;
const FRAGMENT = `
precision mediump float;
uniform float alpha;
varying vec4 shade;
void main() { gl_FragColor = vec4(shade.rgb, shade.a * alpha); }`;

function multiply(a, b) {  // column-major 4x4
  const out = new Float32Array(16);
  for (let c = 0; c < 4; c++)
    for (let r = 0; r < 4; r++)
      out[c * 4 + r] = a[r] * b[c * 4] + a[4 + r] * b[c * 4 + 1] + a[8 + r] * b[c * 4 + 2] +
                       a[12 + r] * b[c * 4 + 3];
  return out;
}

function perspective(fovY, aspect, near, far) {
  const f = 1 / Math.tan(fovY / 2);
  return new Float32Array([f / aspect, 0, 0, 0, 0, f, 0, 0, 0, 0, (far + near) / (near - far), -1,
                           0, 0, (2 * far * near) / (near - far), 0]);
}

// A view from `eye` looking at `target`, with +Y of the screen along -Y of comp space.
function lookAt(eye, target) {
  const sub = (a, b) => a.map((v, i) => v - b[i]);
  const norm = (a) => { const l = Math.hypot(...a) || 1; return a.map((v) => v / l); };
  const cross = (a, b) => [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2],
                           a[0] * b[1] - a[1] * b[0]];
  const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
  const z = norm(sub(eye, target));
  const x = norm(cross([0, -1, 0], z));
  const y = cross(z, x);
  return new Float32Array([x[0], y[0], z[0], 0, x[1], y[1], z[1], 0, x[2], y[2], z[2], 0,
                           -dot(x, eye), -dot(y, eye), -dot(z, eye), 1]);
}

// The camera's eye and the corners of its image plane, from the host's camera matrix (rows:
// x, y and z axes, then the position).
export function frustum(camera) {
  const m = camera.matrix;
  const eye = [m[12], m[13], m[14]];
  const at = (sx, sy) => [0, 1, 2].map((i) => eye[i] + m[8 + i] * camera.zoom +
                                              m[i] * sx * camera.width / 2 +
                                              m[4 + i] * sy * camera.height / 2);
  return {eye, corners: [at(-1, -1), at(1, -1), at(1, 1), at(-1, 1)]};
}

export class View3D {
  constructor(studio) {
    this.studio = studio;
    this.pane = document.getElementById('view3d-pane');
    this.canvas = document.getElementById('view3d');
    this.info = document.getElementById('view3d-info');
    this.key = '';
    this.data = null;
    this.yaw = 0.6;
    this.pitch = 0.35;
    this.zoom = 1;
    this.gl = null;
    this.pane.addEventListener('toggle', () => this.render());
    let last = null;
    this.canvas.addEventListener('pointerdown', (e) => {
      last = [e.clientX, e.clientY];
      this.canvas.setPointerCapture(e.pointerId);
    });
    this.canvas.addEventListener('pointermove', (e) => {
      if (!last) return;
      this.yaw += (e.clientX - last[0]) * 0.01;
      this.pitch = Math.max(-1.5, Math.min(1.5, this.pitch + (e.clientY - last[1]) * 0.01));
      last = [e.clientX, e.clientY];
      this.draw();
    });
    this.canvas.addEventListener('pointerup', () => { last = null; });
    this.canvas.addEventListener('wheel', (e) => {
      e.preventDefault();
      this.zoom = Math.max(0.05, Math.min(20, this.zoom * Math.exp(e.deltaY * 0.001)));
      this.draw();
    }, {passive: false});
  }

  // Fetches the geometry when the pane is open and the version, layer or frame changed.
  async render() {
    const s = this.studio;
    if (!this.pane.open || !s.layerState) return;
    const key = `${s.version}:${s.comp}:${s.layer}:${s.frame}`;
    if (key === this.key) return;
    this.key = key;
    try {
      const res = await fetch(`api/geometry?comp=${s.comp}&layer=${s.layer}&frame=${s.frame}`);
      const answer = await res.json();
      if (!res.ok) throw new Error(answer.error || `the server answered ${res.status}`);
      if (key !== this.key) return;  // a newer one was asked for meanwhile
      this.load(answer);
      this.canvas.dataset.key = key;
    } catch (e) {
      this.info.textContent = e.message;
    }
  }

  load(answer) {
    const positions = new Float32Array(answer.positions);
    const colors = new Float32Array(answer.colors);
    const faces = new Uint32Array(answer.faces);
    const count = positions.length / 3;
    // Faces flat-shaded by their angle to a light from above the comp's front, one colour each.
    const light = [-0.35, -0.7, -0.62];
    const triangles = new Float32Array(faces.length * 3);
    const shades = new Float32Array(faces.length * 4);
    for (let f = 0; f < faces.length; f += 3) {
      const p = [0, 1, 2].map((k) => positions.subarray(faces[f + k] * 3, faces[f + k] * 3 + 3));
      const u = [0, 1, 2].map((i) => p[1][i] - p[0][i]), v = [0, 1, 2].map((i) => p[2][i] - p[0][i]);
      const n = [u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]];
      const lit = 0.3 + 0.7 * Math.abs(n[0] * light[0] + n[1] * light[1] + n[2] * light[2]) /
                            (Math.hypot(...n) || 1);
      for (let k = 0; k < 3; k++) {
        triangles.set(p[k], (f + k) * 3);
        for (let c = 0; c < 3; c++) shades[(f + k) * 4 + c] = colors[faces[f + k] * 4 + c] * lit;
        shades[(f + k) * 4 + 3] = 1;
      }
    }
    // Edges of the faces, each as two vertex indices.
    const edges = new Uint32Array(faces.length * 2);
    for (let f = 0; f < faces.length; f += 3)
      for (let k = 0; k < 3; k++) {
        edges[(f + k) * 2] = faces[f + k];
        edges[(f + k) * 2 + 1] = faces[f + (k + 1) % 3];
      }
    const {eye, corners} = frustum(answer.camera);
    const cam = [eye, corners[0], eye, corners[1], eye, corners[2], eye, corners[3],
                 corners[0], corners[1], corners[1], corners[2], corners[2], corners[3],
                 corners[3], corners[0]].flat();
    // The orbit's centre: the middle of the geometry's box (the camera's eye without geometry);
    // the first view takes in the geometry and the camera's image plane (the wheel backs off
    // to its eye).
    const lo = [Infinity, Infinity, Infinity], hi = [-Infinity, -Infinity, -Infinity];
    for (let i = 0; i < positions.length; i++) {
      lo[i % 3] = Math.min(lo[i % 3], positions[i]);
      hi[i % 3] = Math.max(hi[i % 3], positions[i]);
    }
    const centre = count ? lo.map((v, i) => (v + hi[i]) / 2) : eye;
    let radius = count ? Math.hypot(hi[0] - lo[0], hi[1] - lo[1], hi[2] - lo[2]) / 2 : 0;
    for (const c of count ? corners : [eye])
      radius = Math.max(radius, Math.hypot(...c.map((v, i) => v - centre[i])));
    radius = Math.max(radius, 1);
    this.data = {positions, colors, triangles, shades, edges, cam: new Float32Array(cam), centre,
                 radius, count, faceCount: faces.length / 3};
    this.uploaded = false;
    this.info.textContent = `${count} points, ${faces.length / 3} faces; the yellow frame is ` +
                            'the comp camera. Drag to orbit, wheel to zoom.';
    this.canvas.dataset.points = count;
    this.canvas.dataset.faces = faces.length / 3;
    this.draw();
  }

  setup() {
    const gl = this.canvas.getContext('webgl', {antialias: true, preserveDrawingBuffer: true});
    if (!gl) throw new Error('this browser has no WebGL');
    gl.getExtension('OES_element_index_uint');
    const shader = (type, text) => {
      const sh = gl.createShader(type);
      gl.shaderSource(sh, text);
      gl.compileShader(sh);
      return sh;
    };
    const program = gl.createProgram();
    gl.attachShader(program, shader(gl.VERTEX_SHADER, VERTEX));
    gl.attachShader(program, shader(gl.FRAGMENT_SHADER, FRAGMENT));
    gl.linkProgram(program);
    if (!gl.getProgramParameter(program, gl.LINK_STATUS))
      throw new Error(gl.getProgramInfoLog(program));
    this.gl = gl;
    this.program = program;
    this.buffers = {position: gl.createBuffer(), color: gl.createBuffer(),
                    triangles: gl.createBuffer(), shades: gl.createBuffer(),
                    edges: gl.createBuffer(), cam: gl.createBuffer()};
  }

  draw() {
    if (!this.data) return;
    try {
      if (!this.gl) this.setup();
    } catch (e) {
      this.info.textContent = e.message;
      return;
    }
    const {gl, program, buffers: b, data: d} = this;
    const w = this.canvas.clientWidth || this.canvas.width;
    const h = this.canvas.clientHeight || this.canvas.height;
    if (this.canvas.width !== w || this.canvas.height !== h) {
      this.canvas.width = w;
      this.canvas.height = h;
    }
    gl.viewport(0, 0, w, h);
    gl.clearColor(0.09, 0.1, 0.11, 1);
    gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
    gl.enable(gl.BLEND);
    gl.blendFunc(gl.SRC_ALPHA, gl.ONE_MINUS_SRC_ALPHA);
    gl.useProgram(program);
    const distance = d.radius * 2.6 * this.zoom;
    // Orbit: yaw about comp Y, pitch over it; the eye starts in front of the comp (-Z).
    const eye = [d.centre[0] + distance * Math.cos(this.pitch) * Math.sin(this.yaw),
                 d.centre[1] - distance * Math.sin(this.pitch),
                 d.centre[2] - distance * Math.cos(this.pitch) * Math.cos(this.yaw)];
    const view = multiply(perspective(0.8, w / h, distance / 100, distance * 10),
                          lookAt(eye, d.centre));
    gl.uniformMatrix4fv(gl.getUniformLocation(program, 'view'), false, view);
    const position = gl.getAttribLocation(program, 'position');
    const color = gl.getAttribLocation(program, 'color');
    const alpha = gl.getUniformLocation(program, 'alpha');
    const size = gl.getUniformLocation(program, 'pointSize');
    if (!this.uploaded) {
      const upload = (target, buffer, data) => {
        gl.bindBuffer(target, buffer);
        gl.bufferData(target, data, gl.STATIC_DRAW);
      };
      upload(gl.ARRAY_BUFFER, b.position, d.positions);
      upload(gl.ARRAY_BUFFER, b.color, d.colors);
      upload(gl.ARRAY_BUFFER, b.triangles, d.triangles);
      upload(gl.ARRAY_BUFFER, b.shades, d.shades);
      upload(gl.ARRAY_BUFFER, b.cam, d.cam);
      upload(gl.ELEMENT_ARRAY_BUFFER, b.edges, d.edges);
      this.uploaded = true;
    }
    const attribute = (buffer, location, n) => {
      gl.bindBuffer(gl.ARRAY_BUFFER, buffer);
      gl.enableVertexAttribArray(location);
      gl.vertexAttribPointer(location, n, gl.FLOAT, false, 0, 0);
    };
    gl.enable(gl.DEPTH_TEST);
    gl.depthFunc(gl.LEQUAL);
    if (d.faceCount) {
      attribute(b.triangles, position, 3);
      attribute(b.shades, color, 4);
      gl.uniform1f(alpha, 0.9);
      gl.drawArrays(gl.TRIANGLES, 0, d.faceCount * 3);
    }
    if (d.count) {
      attribute(b.position, position, 3);
      attribute(b.color, color, 4);
      gl.bindBuffer(gl.ELEMENT_ARRAY_BUFFER, b.edges);
      gl.uniform1f(alpha, 0.35);
      gl.drawElements(gl.LINES, d.edges.length, gl.UNSIGNED_INT, 0);
      gl.uniform1f(alpha, 1);
      gl.uniform1f(size, 2.5);
      gl.drawArrays(gl.POINTS, 0, d.count);
    }
    // The camera over everything.
    gl.disable(gl.DEPTH_TEST);
    attribute(b.cam, position, 3);
    gl.disableVertexAttribArray(color);
    gl.vertexAttrib4f(color, 1, 0.82, 0.3, 1);
    gl.uniform1f(alpha, 1);
    gl.drawArrays(gl.LINES, 0, d.cam.length / 3);
    this.canvas.dataset.drawn = String(Number(this.canvas.dataset.drawn || 0) + 1);
  }
}
