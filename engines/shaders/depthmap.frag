// A grey layer as depth: white is near, dark is far, transparent is as far as can be.
in vec2 texCoord;
out vec4 outColor;
uniform sampler2D layer_tex;
uniform float depth_far;
uniform float depth_near;
uniform mat4 persp;

void main() {
    vec4 depthPixel = texture(layer_tex, texCoord).gbar;
    float depth = 1.0;
    if (depthPixel.a > 0.0) {
        float aeDepth = mix(depth_far, depth_near, depthPixel.r);
        vec4 clipPos = persp * vec4(0.0, 0.0, -aeDepth, 1.0);
        depth = (clipPos.z / clipPos.w + 1.0) / 2.0;
    }
    depth = clamp(depth, 0.0, 1.0);
    gl_FragDepth = depth;
    outColor = vec4(depth, depth, depth, 1.0);
}
