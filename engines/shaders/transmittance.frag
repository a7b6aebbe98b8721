// Four passes' transmittances, one in each channel, as coverage: each pass adds one minus its
// transmittance times its weight. A channel no pass drew stays 1 and adds nothing.
in vec2 texCoord;
out vec4 outColor;
uniform sampler2D frameTex;
uniform float frameWeight;

void main() {
    vec4 c = (vec4(1.0) - texture(frameTex, texCoord)) * frameWeight;
    outColor = vec4(0.0, 0.0, 0.0, (c.r + c.g) + (c.b + c.a));
}
