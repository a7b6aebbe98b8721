// Layer pixels are stored A, R, G, B: reorder them to R, G, B, A.
in vec2 texCoord;
out vec4 outColor;
uniform sampler2D layer_tex;

void main() {
    outColor = texture(layer_tex, texCoord).gbar;
}
