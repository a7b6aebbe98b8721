// Sprites: a layer of the sprite array, tinted.
in vec4 fColor;
flat in float fIdx;
in vec3 tex;
uniform sampler2DArray sprite_tex;
out vec4 outColor;

vec4 stochasticColor(vec2 fragCoord, vec4 inColor, float idx);

void main() {
    outColor = stochasticColor(gl_FragCoord.xy, texture(sprite_tex, tex) * fColor, fIdx);
}
